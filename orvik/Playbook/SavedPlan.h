#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

#include "JamfCore/Automation/PlaybookPlan.h"
#include "Platform/Date.h"
#include "Platform/JSON/Codable.h"

namespace orvik::host {

/// A plan that somebody looks at before it is carried out: what was to be done to which server, so that
/// nothing else is done in its place.
struct SavedPlan {
  static constexpr std::int64_t currentFormat = 1;

  std::int64_t format = currentFormat;
  platform::Date plannedAt;
  std::string organization;    ///< its name
  std::string baseURL;         ///< its server
  std::string playbook;        ///< the document's name
  std::string playbookSHA256;  ///< of its bytes, lower-case hexadecimal
  jamf::PlaybookPlan plan;

  /// Written in one step. Throws `platform::files::FileError`.
  void write(const std::filesystem::path& file) const;
  /// Throws `UsageError` for what is no plan, and `NotFoundError`.
  static SavedPlan read(const std::filesystem::path& file);

  /// Throws `tuv::Error` that names what is not as it was planned: the playbook, the organization, its
  /// server, or the resources that differ from it in another way now. When each plan was made doesn't count.
  void requireSame(const SavedPlan& now) const;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("format", &SavedPlan::format), field("plannedAt", &SavedPlan::plannedAt),
                     field("organization", &SavedPlan::organization), field("baseURL", &SavedPlan::baseURL),
                     field("playbook", &SavedPlan::playbook),
                     field("playbookSHA256", &SavedPlan::playbookSHA256), field("plan", &SavedPlan::plan));
  }
};

}  // namespace orvik::host
