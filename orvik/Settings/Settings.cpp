#include "orvik/Settings/Settings.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "Platform/Files/FileLock.h"
#include "Platform/Locale/Text.h"
#include "orvik/Environment.h"
#include "orvik/ExitStatus.h"
#include "orvik/Settings/ManagedConfigKeys.h"

namespace orvik::host {

namespace {

/// A key without its type, and the option that says the same.
struct Setting {
  /// `negated`: a flag that says the opposite of the setting.
  enum class Form { value, flag, negated };

  std::string name;
  std::string option;
  Form form = Form::value;
  std::function<tuv::ResolvedValue<std::string>(const tuv::ManagedConfig&)> resolve;
  std::function<bool(std::string_view)> accepts;
  /// Chooses the text, or takes the choice back. Requires: the text is accepted.
  std::function<void(tuv::ManagedConfig&, const std::optional<std::string>&)> choose;
};

template <typename T>
Setting setting(const tuv::ManagedConfigKey<T>& key, const char* option,
                Setting::Form form = Setting::Form::value) {
  return {key.name,
          option,
          form,
          [&key](const tuv::ManagedConfig& config) {
            const auto resolved = config.resolve(key);
            return tuv::ResolvedValue<std::string>{key.encode(resolved.value), resolved.origin};
          },
          [&key](std::string_view text) { return key.decode(text).has_value(); },
          [&key](tuv::ManagedConfig& config, const std::optional<std::string>& text) {
            config.setUserValue(text ? key.decode(*text) : std::nullopt, key);
          }};
}

const std::vector<Setting>& all() {
  namespace keys = ManagedConfigKeys;
  using enum Setting::Form;
  static const std::vector<Setting> settings{setting(keys::BackupFolder, "to"),
                                             setting(keys::StagingFolder, "staging"),
                                             setting(keys::DownloadFiles, "no-files", negated),
                                             setting(keys::IncludeClassicDevices, "classic-devices", flag),
                                             setting(keys::DisabledSections, "disable"),
                                             setting(keys::MaxConcurrentRequests, "concurrency"),
                                             setting(keys::MaxRequestsPerSecond, "rate"),
                                             setting(keys::MaxConcurrentDownloads, "downloads"),
                                             setting(keys::MinimumHours, "minimum-hours"),
                                             setting(keys::MaximumAgeHours, "max-age"),
                                             setting(keys::KeepCount, "keep"),
                                             setting(keys::KeepDays, "keep-days"),
                                             setting(keys::PackObjects, "no-pack", negated),
                                             setting(keys::WriteReports, "no-reports", negated),
                                             setting(keys::EncryptBackups, "encrypt", flag),
                                             setting(keys::EncryptionKeyID, "key-id"),
                                             setting(keys::TrustAnchors, "ca-file")};
  return settings;
}

/// A truth as the other one's text.
std::string opposite(std::string_view truth) { return truth == "true" ? "false" : "true"; }

/// What a variable of the setting's option makes of the setting. Throws `UsageError` for a flag's value that
/// is none.
std::optional<std::string> variableValue(const Setting& setting) {
  const auto text = environment::value(setting.option);
  if (!text || setting.form == Setting::Form::value) return text;
  const bool isSet = environment::flag(setting.option, *text);
  return isSet == (setting.form == Setting::Form::flag) ? "true" : "false";
}

Settings::Origin originOf(tuv::ManagedConfigOrigin origin) {
  switch (origin) {
    case tuv::ManagedConfigOrigin::mdm:
      return Settings::Origin::managed;
    case tuv::ManagedConfigOrigin::userSetting:
      return Settings::Origin::user;
    case tuv::ManagedConfigOrigin::builtInDefault:
      break;
  }
  return Settings::Origin::builtIn;
}

const Setting& named(std::string_view name) {
  const auto wanted = platform::locale::lowercased(name);
  const auto found = std::ranges::find_if(all(), [&](const Setting& each) {
    return platform::locale::lowercased(each.name) == wanted || "--" + each.option == wanted;
  });
  if (found != all().end()) return *found;
  std::vector<std::string_view> names;
  for (const auto& each : all()) names.emplace_back(each.name);
  throw UsageError(fmt::format("There is no setting {}. There are: {}.", name, fmt::join(names, ", ")));
}

}  // namespace

Settings::Settings(const HostPlaces& places)
    : places_(places),
      config_(std::make_unique<tuv::ManagedConfig>(places.managed,
                                                   tuv::UserDefaultsSettingsSource(places.user))) {}

std::optional<std::string> Settings::forOption(std::string_view option) const {
  const auto found = std::ranges::find(all(), option, &Setting::option);
  if (found == all().end()) return std::nullopt;
  const auto resolved = found->resolve(*config_);
  if (resolved.origin == tuv::ManagedConfigOrigin::builtInDefault || resolved.value.empty())
    return std::nullopt;
  return found->form == Setting::Form::negated ? opposite(resolved.value) : resolved.value;
}

std::vector<Settings::Shown> Settings::shown() const {
  std::vector<Shown> shown;
  for (const auto& each : all()) {
    const auto resolved = each.resolve(*config_);
    Shown line{each.name, "--" + each.option, resolved.value, originOf(resolved.origin), "", {}};
    if (const auto value = variableValue(each)) {
      line.value = *value;
      line.origin = Origin::variable;
      line.variable = environment::variableFor(each.option);
    }
    const auto look = [&](const tuv::ManagedConfigSource& source, std::string_view whose) {
      // What a value looks like that is none may be anything; it is not repeated.
      const auto text = source.rawValue(each.name);
      if (text && !each.accepts(*text))
        line.ignored.push_back(fmt::format(
            "The {} value of {} is none that it can have, and is left out of account.", whose, each.name));
    };
    look(*places_.managed, "managed");
    look(tuv::UserDefaultsSettingsSource(places_.user), "user's");
    shown.push_back(std::move(line));
  }
  return shown;
}

void Settings::choose(std::string_view name, std::string_view value) {
  const auto& setting = named(name);
  if (!setting.accepts(value))
    throw UsageError(fmt::format("{} can't be \"{}\". See {} in orvik backup --help.", setting.name, value,
                                 "--" + setting.option));
  const platform::files::FileLock lock(places_.data / "settings.lock");
  setting.choose(*config_, std::string(value));
}

void Settings::takeBack(std::string_view name) {
  const auto& setting = named(name);
  const platform::files::FileLock lock(places_.data / "settings.lock");
  setting.choose(*config_, std::nullopt);
}

std::string_view textOf(Settings::Origin origin) {
  switch (origin) {
    case Settings::Origin::variable:
      return "variable";
    case Settings::Origin::managed:
      return "managed";
    case Settings::Origin::user:
      return "user";
    case Settings::Origin::builtIn:
      break;
  }
  return "default";
}

}  // namespace orvik::host
