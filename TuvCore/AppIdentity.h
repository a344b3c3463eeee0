#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tuv {

/// Who a program is, and where it keeps what belongs to a user or to the machine. A plain value; any thread
/// may ask it, as long as nothing changes the environment. No folder is made.
struct AppIdentity {
  std::string name;             ///< also of its folders
  std::string bundleID;         ///< reverse domain name, and the domain of its settings
  std::string teamID;           ///< of who signs it on systems that know teams
  std::string devModeVariable;  ///< names the environment variable that makes it a development build
  std::optional<std::string> version = std::nullopt;
  std::optional<std::string> build = std::nullopt;

  /// This system's own.
  static const AppIdentity& own();

  /// What a system that checks code signatures should demand: any build that the team signed.
  std::string codeSigningRequirement() const;
  /// Whether that variable is exactly "1".
  bool isDevMode() const;

  /// The user's data folder: the folder's name below XDG_DATA_HOME when that is an absolute path, else below
  /// ~/.local/share. The name has "-Dev" behind it in a development build, which so never touches real data.
  std::filesystem::path userSupportDirectory() const;
  /// The machine's, below /var/lib.
  std::filesystem::path systemSupportDirectory() const;

  /// "0.0.0" when there is none.
  std::string appVersion() const { return version.value_or("0.0.0"); }
  const std::optional<std::string>& appBuild() const { return build; }

 private:
  std::string folderName() const { return isDevMode() ? name + "-Dev" : name; }
};

}  // namespace tuv
