#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <string>

#include "JamfCore/OrgManagement/OrgManager.h"
#include "JamfCore/Persistence/PersistenceController.h"
#include "Platform/Files/Files.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/SecretSearch.h"

namespace jamf::test {

/// A database and a keychain of files, both in a folder of their own. In the end no file beside the keychain
/// holds a secret.
class LocalDatabase : public testing::Test {
 protected:
  /// Another connection, as another process has it.
  std::shared_ptr<ModelContext> open() const { return PersistenceController::makeContainer(path); }

  static platform::SecretString secret(const std::string& text) { return platform::SecretString(text); }
  static std::string textOf(const std::optional<platform::SecretString>& secret) {
    return secret ? std::string(secret->reveal()) : "nothing";
  }
  std::size_t secretCount() const { return platform::files::visibleNames(secrets).size(); }

  void TearDown() override {
    for (const auto& name : platform::files::visibleNames(secrets)) platform::files::remove(secrets / name);
    orvik::test::expectNoSecrets(home.path());
  }

  platform::files::TempFolder home;
  orvik::test::ScopedVariable bus{"DBUS_SESSION_BUS_ADDRESS"};
  orvik::test::ScopedVariable runtime{"XDG_RUNTIME_DIR"};
  orvik::test::ScopedVariable data{"XDG_DATA_HOME", home.path().string()};
  const std::filesystem::path secrets = home / "orvik/secrets";
  const std::filesystem::path path = home / "orvik/organizations.sqlite";
  const KeychainStore keychain{"org.orvik.test"};
};

}  // namespace jamf::test
