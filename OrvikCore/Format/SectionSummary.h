#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Platform/JSON/Codable.h"

namespace orvik {

/// How many objects of a section there are, and what happened to them since the parent backup.
struct ChangeCounts {
  int total = 0;
  int new_ = 0;
  int changed = 0;
  int unchanged = 0;
  int removed = 0;
  int failed = 0;

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("total", &ChangeCounts::total), field("new", &ChangeCounts::new_),
                     field("changed", &ChangeCounts::changed), field("unchanged", &ChangeCounts::unchanged),
                     field("removed", &ChangeCounts::removed), field("failed", &ChangeCounts::failed));
  }
  bool operator==(const ChangeCounts&) const = default;
};

/// How the reading of one section ended. Failures of sections end here, not in an error.
struct SectionSummary {
  enum class Status { complete, partial, notPermitted, notAvailable, failed, disabled };

  std::string id;  ///< of the section, from the catalog
  std::string title;
  Status status = Status::complete;
  std::optional<std::string> message;  ///< the reason of a status other than complete
  ChangeCounts counts;
  std::optional<std::string> index;  ///< the index's path below the backup's folder, when one was written

  static constexpr auto fields() {
    using platform::json::field;
    return fieldList(field("id", &SectionSummary::id), field("title", &SectionSummary::title),
                     field("status", &SectionSummary::status), field("message", &SectionSummary::message),
                     field("counts", &SectionSummary::counts), field("index", &SectionSummary::index));
  }
  bool operator==(const SectionSummary&) const = default;
};

constexpr auto enumTexts(SectionSummary::Status) {
  using enum SectionSummary::Status;
  using namespace std::string_view_literals;
  return std::array{std::pair{complete, "complete"sv},
                    std::pair{partial, "partial"sv},
                    std::pair{notPermitted, "notPermitted"sv},
                    std::pair{notAvailable, "notAvailable"sv},
                    std::pair{failed, "failed"sv},
                    std::pair{disabled, "disabled"sv}};
}

}  // namespace orvik
