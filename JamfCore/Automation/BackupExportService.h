#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "JamfCore/Models/ComputerGroups.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Networking/GroupMemberDevice.h"

namespace jamf {

/// What an export wrote.
struct BackupExportResult {
  struct Failed {
    std::string message;
    bool operator==(const Failed&) const = default;
  };
  struct Exported {
    bool operator==(const Exported&) const = default;
  };
  using Outcome = std::variant<Failed, Exported>;

  struct Entry {
    std::string typeLabel;  ///< the name of its category, "Smart Groups"
    std::string name;  ///< "(list)" where the list could not be had, "(folder)" where its folder could not
    Outcome outcome;

    bool operator==(const Entry&) const = default;
  };

  std::vector<Entry> entries;
  std::filesystem::path folderURL;  ///< the folder that was made

  /// "12 exported, 1 failed", or "Nothing to export".
  std::string summary() const;
};

/// How far the export of a category is.
struct BackupExportProgress {
  struct Completed {
    std::int64_t exported = 0;
    std::int64_t failed = 0;
    bool operator==(const Completed&) const = default;
  };
  struct InProgress {
    bool operator==(const InProgress&) const = default;
  };
};
using BackupExportCategoryStatus =
    std::variant<BackupExportProgress::Completed, BackupExportProgress::InProgress>;

/// A static group with its members, as its file holds it.
struct StaticGroupBackup {
  StaticGroupDetail detail;
  std::vector<GroupMemberDevice> members;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("detail", &StaticGroupBackup::detail),
                     field("members", &StaticGroupBackup::members));
  }
  bool operator==(const StaticGroupBackup&) const = default;
};

/// Writes what this library knows of a server's groups, policies, scripts, profiles, packages and extension
/// attributes into a folder, a JSON file for each object. It is no backup: nothing is compared, kept once,
/// sealed or read back. It holds nothing that changes; any thread may call.
struct BackupExportService {
  /// Told before a category and after it.
  using OnProgress = std::function<void(const std::string& category, const BackupExportCategoryStatus&)>;
  /// Told of each object when it is done with: which of how many of its category it is.
  using OnEntry = std::function<void(const BackupExportResult::Entry&, std::size_t done, std::size_t total)>;

  /// A name takes at most so many bytes with its extension, so that the temporary file beside it has one too.
  static constexpr std::size_t longestFileName = 213;

  std::shared_ptr<APIClient> client;

  /// Makes a folder below `folder`, named after `orgName` and the time, and fills it, one category and one
  /// object after another; each file appears whole. What can't be read or written is an entry and stops
  /// nothing. Callbacks run on the calling thread.
  ///
  /// Throws `platform::files::FileError` when the folder can't be made, and `platform::CancellationError` on
  /// a stop; what was written by then stays.
  BackupExportResult exportAll(const std::string& orgName, const std::filesystem::path& folder,
                               const OnProgress& onProgress = {}, const std::stop_token& stop = {},
                               const OnEntry& onEntry = {}) const;

  /// The name of the file of an object: "-" stands for what file systems refuse, for control characters and
  /// for dots at its beginning; an empty name is "unnamed". Two objects may have the same one: then the later
  /// is what the file holds.
  static std::string fileName(std::string_view objectName);
};

}  // namespace jamf
