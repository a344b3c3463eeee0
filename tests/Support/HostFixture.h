#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "OrvikCore/Format/InstanceDescriptor.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Files/Files.h"
#include "SampleServer/SampleServer.h"
#include "tests/Support/RunningProgram.h"
#include "tests/Support/SecretSearch.h"

namespace orvik::test {

/// The real program against a real server, with a folder of its own.
class HostFixture : public testing::Test {
 protected:
  using Arguments = std::vector<std::string>;

  HostFixture() { writeSecret(server.clientSecret() + "\n"); }

  static std::string program() { return std::string(ORVIK_PROGRAM_FOLDER) + "/orvik"; }

  void writeSecret(const std::string& text, mode_t mode = 0600) {
    platform::files::tryRemove(secretFile);
    platform::files::atomicWrite(text, secretFile);
    ::chmod(secretFile.c_str(), mode);
  }

  /// `orvik` with these arguments.
  ProgramStart start(Arguments arguments) const {
    ProgramStart start;
    start.arguments = std::move(arguments);
    start.arguments.insert(start.arguments.begin(), program());
    start.environment = {
        {"HOME", folder.path().string()}, {"TMPDIR", folder.path().string()}, {"LANG", "C.UTF-8"}};
    return start;
  }

  /// A quick backup of a few small sections, without a secret.
  Arguments backupWithoutSecret(const Arguments& more = {}) const {
    Arguments arguments{"backup",
                        "--to",
                        root.string(),
                        "--url",
                        server.url(),
                        "--client-id",
                        server.clientID(),
                        "--rate",
                        "0",
                        "--attempts",
                        "1",
                        "--only",
                        "buildings,categories,departments"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }
  ProgramStart backup(const Arguments& more = {}) const {
    auto arguments = backupWithoutSecret({"--secret-file", secretFile.string()});
    arguments.insert(arguments.end(), more.begin(), more.end());
    return start(arguments);
  }

  BackupRepository repository() const { return BackupRepository(root, "127.0.0.1"); }

  void TearDown() override {
    // Whatever a test did: no secret stands in a file below the folder.
    auto own = exempt;
    own.insert(secretFile);
    expectNoSecrets(folder.path(), own);
  }

  sample::SampleServer server;
  platform::files::TempFolder folder{"orvik-host"};
  const std::filesystem::path root = folder / "backups";
  const std::filesystem::path secretFile = folder / "secret";
  std::set<std::filesystem::path> exempt;  ///< files in which a test itself put the secret
};

}  // namespace orvik::test
