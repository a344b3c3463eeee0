#include "JamfCore/Automation/BackupExportService.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <utility>

#include "JamfCore/Services/ComputerExtensionAttributeService.h"
#include "JamfCore/Services/ConfigurationProfileService.h"
#include "JamfCore/Services/EachPage.h"
#include "JamfCore/Services/PackageService.h"
#include "JamfCore/Services/PolicyService.h"
#include "JamfCore/Services/ScriptService.h"
#include "JamfCore/Services/SmartGroupService.h"
#include "JamfCore/Services/StaticGroupService.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "Platform/Locale/ControlCharacters.h"
#include "Platform/Locale/LocalTime.h"
#include "Platform/Locale/Text.h"

namespace jamf {

namespace {

namespace files = platform::files;
namespace locale = platform::locale;
using Entry = BackupExportResult::Entry;
using Exported = BackupExportResult::Exported;
using Failed = BackupExportResult::Failed;

constexpr std::int64_t pageSize = 100;
constexpr std::string_view extension = ".json";
/// What some file system refuses in a name.
constexpr std::u32string_view refused = U"/\\:*?\"<>|";

/// A text as a part of a name in a folder, of at most so many bytes: it leads nowhere else and is seen.
std::string sanitised(std::string_view text, std::size_t mostBytes) {
  std::string name;
  bool isBeginning = true;
  for (const char32_t scalar : locale::scalars(text)) {
    isBeginning = isBeginning && scalar == U'.';
    const bool isSnare = refused.find(scalar) != refused.npos ||
                         (locale::isControl(scalar) && !locale::isDirectionalMark(scalar));
    locale::appendUTF8(name, isBeginning || isSnare ? U'-' : scalar);
  }
  return std::string(locale::beginning(name, mostBytes));
}

std::string folderName(const std::string& orgName) {
  constexpr std::size_t longest = 200;
  const auto clock = std::chrono::floor<std::chrono::seconds>(locale::localTime(platform::now()));
  return fmt::format("{}-backup-{:%Y-%m-%d-%H%M%S}", sanitised(orgName, longest),
                     fmt::gmtime(clock.time_since_epoch().count()));
}

const std::string& nameOf(const Package& package) { return package.packageName; }
template <class Object>
const std::string& nameOf(const Object& object) {
  return object.name;
}

/// All objects of a service that has pages.
template <class Service>
auto everything(const Service& service, const std::stop_token& stop) {
  return allPages(pageSize, [&](const ListRequest& request) { return service.list(request, stop); });
}

struct Callbacks {
  const BackupExportService::OnProgress& onProgress;
  const BackupExportService::OnEntry& onEntry;
};

/// Fills the folder of one category.
class Category {
 public:
  Category(std::string label, BackupExportResult& result, const std::stop_token& stop,
           const Callbacks& callbacks)
      : label_(std::move(label)), result_(result), stop_(stop), callbacks_(callbacks) {}

  /// `list()` gives the objects, `encoded(object)` the bytes of one's file.
  template <class List, class Encoded>
  void fill(std::string_view name, const List& list, const Encoded& encoded) {
    tell(BackupExportProgress::InProgress());
    const auto folder = result_.folderURL / name;
    decltype(list()) objects;
    if (attempt("(folder)", 1, [&] { files::createDirectories(folder); }) &&
        attempt("(list)", 1, [&] { objects = list(); })) {
      for (const auto& object : objects) {
        const bool isWritten = attempt(nameOf(object), objects.size(), [&] {
          files::atomicWrite(encoded(object), folder / BackupExportService::fileName(nameOf(object)));
        });
        if (isWritten) add(nameOf(object), Exported(), objects.size());
      }
    }
    tell(counts_);
  }

 private:
  /// Whether `work` succeeded; a failure becomes an entry. Throws `CancellationError`.
  template <class Work>
  bool attempt(const std::string& name, std::size_t total, const Work& work) {
    platform::throwIfCancelled(stop_);
    try {
      work();
      return true;
    } catch (const tuv::Error& error) {
      platform::throwIfCancelled(stop_);
      add(name, Failed{error.description()}, total);
    }
    return false;
  }

  void add(const std::string& name, BackupExportResult::Outcome outcome, std::size_t total) {
    ++(std::holds_alternative<Exported>(outcome) ? counts_.exported : counts_.failed);
    result_.entries.push_back({label_, name, std::move(outcome)});
    if (callbacks_.onEntry)
      callbacks_.onEntry(result_.entries.back(), static_cast<std::size_t>(counts_.exported + counts_.failed),
                         total);
  }

  void tell(const BackupExportCategoryStatus& status) const {
    if (callbacks_.onProgress) callbacks_.onProgress(label_, status);
  }

  const std::string label_;
  BackupExportResult& result_;
  const std::stop_token& stop_;
  const Callbacks& callbacks_;
  BackupExportProgress::Completed counts_;
};

}  // namespace

std::string BackupExportResult::summary() const {
  if (entries.empty()) return "Nothing to export";
  const auto failed = std::ranges::count_if(
      entries, [](const Entry& entry) { return std::holds_alternative<Failed>(entry.outcome); });
  auto text = fmt::format("{} exported", std::ssize(entries) - failed);
  if (failed > 0) text += fmt::format(", {} failed", failed);
  return text;
}

std::string BackupExportService::fileName(std::string_view objectName) {
  const auto name = objectName.empty() ? "unnamed" : objectName;
  return sanitised(name, longestFileName - extension.size()).append(extension);
}

BackupExportResult BackupExportService::exportAll(const std::string& orgName,
                                                  const std::filesystem::path& folder,
                                                  const OnProgress& onProgress, const std::stop_token& stop,
                                                  const OnEntry& onEntry) const {
  BackupExportResult result{{}, folder / folderName(orgName)};
  files::createDirectories(result.folderURL);

  const Callbacks callbacks{onProgress, onEntry};
  const auto category = [&](const char* label, std::string_view name, const auto& list, const auto& detail) {
    Category(label, result, stop, callbacks).fill(name, list, [&](const auto& object) {
      return client->encode(detail(object));
    });
  };
  /// Most services give the detail for the id of what they list.
  const auto detailsOf = [&](const auto& service) {
    return [&service, &stop](const auto& object) { return service.get(object.id, stop); };
  };
  const SmartGroupService smartGroups{client};
  category(
      "Smart Groups", "smart-groups", [&] { return everything(smartGroups, stop); }, detailsOf(smartGroups));
  const StaticGroupService staticGroups{client};
  category(
      "Static Groups", "static-groups", [&] { return everything(staticGroups, stop); },
      [&](const StaticGroupSummary& group) {
        return StaticGroupBackup{staticGroups.get(group.id, stop),
                                 client->classicGroupMembers(group.id, stop)};
      });
  const PolicyService policies{client};
  category(
      "Policies", "policies", [&] { return policies.list(stop); }, detailsOf(policies));
  const ScriptService scripts{client};
  category(
      "Scripts", "scripts", [&] { return everything(scripts, stop); }, detailsOf(scripts));
  const ConfigurationProfileService profiles{client};
  category(
      "Configuration Profiles", "configuration-profiles", [&] { return profiles.list(stop); },
      detailsOf(profiles));
  const PackageService packages{client};
  category(
      "Packages", "packages", [&] { return everything(packages, stop); }, detailsOf(packages));
  const ComputerExtensionAttributeService attributes{client};
  category(
      "Extension Attributes", "extension-attributes", [&] { return everything(attributes, stop); },
      detailsOf(attributes));
  return result;
}

}  // namespace jamf
