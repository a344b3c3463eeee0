#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "managedconfig/ManagedConfig.h"
#include "orvik/HostPlaces.h"

namespace orvik::host {

/// What options of the command line are when neither it nor a variable says so: forced by the organisation,
/// or chosen by the user. Any thread may ask.
class Settings {
 public:
  explicit Settings(const HostPlaces& places);

  /// The value of a long option (without its hyphens) as it would be typed, a flag's being "true" or "false";
  /// nothing where the option's own default holds.
  std::optional<std::string> forOption(std::string_view option) const;

  /// Where a value comes from, the strongest first.
  enum class Origin { variable, managed, user, builtIn };

  /// A setting as it is now.
  struct Shown {
    std::string name;    ///< "KeepCount"
    std::string option;  ///< "--keep"
    std::string value;
    Origin origin = Origin::builtIn;
    std::string variable;              ///< the variable that says so
    std::vector<std::string> ignored;  ///< sentences about values that are none
  };
  /// All, by subject.
  std::vector<Shown> shown() const;

  /// Chooses a value, or takes the choice back. Throw `UsageError` for a name or a value that there isn't,
  /// and what `UserPreferences` throws.
  void choose(std::string_view name, std::string_view value);
  void takeBack(std::string_view name);

 private:
  HostPlaces places_;
  std::unique_ptr<tuv::ManagedConfig> config_;
};

/// "variable", "managed", "user" and "default".
std::string_view textOf(Settings::Origin origin);

}  // namespace orvik::host
