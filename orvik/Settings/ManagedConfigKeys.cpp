#include "orvik/Settings/ManagedConfigKeys.h"

#include <optional>
#include <string_view>
#include <utility>

#include "orvik/Arguments.h"

namespace orvik::host::ManagedConfigKeys {

namespace {

template <typename T>
tuv::ManagedConfigKey<T> bounded(tuv::ManagedConfigKey<T> key, T low, T high) {
  key.decode = [decode = std::move(key.decode), low, high](std::string_view text) {
    const auto value = decode(text);
    return value && *value >= low && *value <= high ? value : std::nullopt;
  };
  return key;
}

Integer integer(const char* name, std::int64_t standard, Bounds bounds) {
  return bounded(tuv::integerKey(name, standard), static_cast<std::int64_t>(bounds.low),
                 static_cast<std::int64_t>(bounds.high));
}

/// A path that is the same wherever a command runs.
Text path(const char* name) {
  auto key = tuv::textKey(name, "");
  key.decode = [](std::string_view text) {
    return text.empty() || text.starts_with('/') ? std::optional(std::string(text)) : std::nullopt;
  };
  return key;
}

const BackupArguments standard;

}  // namespace

const Text BackupFolder = path("BackupFolder");
const Text StagingFolder = path("StagingFolder");
const Boolean DownloadFiles = tuv::booleanKey("DownloadFiles", !standard.noFiles);
const Boolean IncludeClassicDevices = tuv::booleanKey("IncludeClassicDevices", standard.classicDevices);
const Text DisabledSections = tuv::textKey("DisabledSections", "");
const Integer MaxConcurrentRequests =
    integer("MaxConcurrentRequests", standard.concurrency, bounds::concurrency);
const Number MaxRequestsPerSecond =
    bounded(tuv::numberKey("MaxRequestsPerSecond", standard.rate), bounds::rate.low, bounds::rate.high);
const Integer MaxConcurrentDownloads =
    integer("MaxConcurrentDownloads", standard.downloads, bounds::downloads);
const Integer MinimumHours = integer("MinimumHours", standard.minimumHours, bounds::hours);
const Integer MaximumAgeHours = integer("MaximumAgeHours", standardMaximumAge, bounds::hours);
const Integer KeepCount = integer("KeepCount", standard.keep.keepCount, bounds::limit);
const Integer KeepDays = integer("KeepDays", standard.keep.keepDays, bounds::limit);
const Boolean PackObjects = tuv::booleanKey("PackObjects", !standard.noPack);
const Boolean WriteReports = tuv::booleanKey("WriteReports", !standard.noReports);
const Boolean EncryptBackups = tuv::booleanKey("EncryptBackups", standard.encrypt);
const Text EncryptionKeyID = tuv::textKey("EncryptionKeyID", "");
const Text TrustAnchors = path("TrustAnchors");

}  // namespace orvik::host::ManagedConfigKeys
