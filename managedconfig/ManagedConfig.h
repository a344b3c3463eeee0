#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include "managedconfig/ManagedConfigKey.h"
#include "managedconfig/ManagedConfigSource.h"

namespace tuv {

/// Which layer a setting's value came from.
enum class ManagedConfigOrigin { mdm, userSetting, builtInDefault };

constexpr auto enumTexts(ManagedConfigOrigin) {
  using enum ManagedConfigOrigin;
  using namespace std::string_view_literals;
  return std::array{std::pair{mdm, "mdm"sv}, std::pair{userSetting, "userSetting"sv},
                    std::pair{builtInDefault, "builtInDefault"sv}};
}

template <typename T>
struct ResolvedValue {
  T value;
  ManagedConfigOrigin origin = ManagedConfigOrigin::builtInDefault;
};

/// Resolves settings: what the organisation forces beats what the user chose, which beats the default. A
/// value that is none of its key's counts as absent, in every layer. Any thread may call.
class ManagedConfig {
 public:
  ManagedConfig(std::shared_ptr<ManagedConfigSource> mdmSource, UserDefaultsSettingsSource userSource)
      : mdmSource_(std::move(mdmSource)), userSource_(std::move(userSource)) {}

  template <typename T>
  ResolvedValue<T> resolve(const ManagedConfigKey<T>& key) const {
    using enum ManagedConfigOrigin;
    if (auto value = decoded(*mdmSource_, key)) return {std::move(*value), mdm};
    if (auto value = decoded(userSource_, key)) return {std::move(*value), userSetting};
    return {key.defaultValue, builtInDefault};
  }

  template <typename T>
  T value(const ManagedConfigKey<T>& key) const {
    return resolve(key).value;
  }

  /// Stores the user's value, or clears it. Throws what `UserPreferences` throws.
  template <typename T>
  void setUserValue(const std::optional<T>& value, const ManagedConfigKey<T>& key) {
    if (value)
      userSource_.defaults().set(key.name, key.encode(*value));
    else
      userSource_.defaults().remove(key.name);
    ++generation_;
  }

  /// Reads what the organisation forces anew.
  void refresh();

  /// Grows with every change of a value that this object made or looked for.
  std::uint64_t generation() const { return generation_; }

 private:
  template <typename T>
  static std::optional<T> decoded(const ManagedConfigSource& source, const ManagedConfigKey<T>& key) {
    const auto text = source.rawValue(key.name);
    return text ? key.decode(*text) : std::nullopt;
  }

  std::shared_ptr<ManagedConfigSource> mdmSource_;
  UserDefaultsSettingsSource userSource_;
  std::atomic<std::uint64_t> generation_{0};
};

}  // namespace tuv
