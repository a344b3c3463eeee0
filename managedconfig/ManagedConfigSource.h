#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Preferences/ManagedPreferences.h"
#include "Platform/Preferences/UserPreferences.h"
#include "TuvCore/Locked.h"

namespace tuv {

/// Where settings come from. Any thread may call.
class ManagedConfigSource {
 public:
  virtual ~ManagedConfigSource() = default;
  /// The value as text; nothing when there is none, or it is no text, boolean or number.
  virtual std::optional<std::string> rawValue(std::string_view name) const = 0;
};

/// What the organisation forces for a domain on this machine; no values for an empty domain. A file that
/// doesn't count is a notice in the log.
class MDMPreferencesSource final : public ManagedConfigSource {
 public:
  using Path = std::filesystem::path;

  explicit MDMPreferencesSource(std::string domain,
                                Path folder = platform::preferences::ManagedPreferences::systemFolder,
                                std::uint32_t owner = platform::preferences::administrator);

  std::optional<std::string> rawValue(std::string_view name) const override;
  /// The forced value of any kind, such as an array.
  std::optional<platform::plist::Value> object(std::string_view name) const;
  /// Reads the machine's settings anew.
  void synchronize();

  const std::string& domain() const { return domain_; }

 private:
  using Values = platform::preferences::ManagedPreferences;

  std::string domain_;
  Path folder_;
  std::uint32_t owner_;
  Locked<std::shared_ptr<const Values>> values_;
};

/// What the user chose.
class UserDefaultsSettingsSource final : public ManagedConfigSource {
 public:
  explicit UserDefaultsSettingsSource(platform::preferences::UserPreferences defaults)
      : defaults_(std::move(defaults)) {}

  std::optional<std::string> rawValue(std::string_view name) const override;
  const platform::preferences::UserPreferences& defaults() const { return defaults_; }

 private:
  platform::preferences::UserPreferences defaults_;
};

/// A fixed map.
class StaticConfigSource final : public ManagedConfigSource {
 public:
  using Values = std::map<std::string, std::string, std::less<>>;

  explicit StaticConfigSource(Values values) : values_(std::move(values)) {}

  std::optional<std::string> rawValue(std::string_view name) const override;

 private:
  Values values_;
};

}  // namespace tuv
