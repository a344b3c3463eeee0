#pragma once

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <thread>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/BackupVerifier.h"
#include "Platform/Files/Files.h"
#include "tests/Support/HostFixture.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/RunningProgram.h"

namespace orvik::test {

/// Backups of the real program that the server interrupts in the middle of a request.
class InterruptedRuns : public HostFixture {
 protected:
  ProgramStart backupTo(const std::filesystem::path& folderBelow) {
    Arguments arguments{"backup",
                        "--to",
                        folderBelow.string(),
                        "--url",
                        server.url(),
                        "--client-id",
                        server.clientID(),
                        "--secret-file",
                        secretFile.string(),
                        "--rate",
                        "0",
                        "--concurrency",
                        "4",
                        "--no-pack",  // objects are compared file by file
                        "--quiet"};
    if (organisation) arguments.insert(arguments.end(), {"--key", organisation->key.string()});
    arguments.insert(arguments.end(), moreArguments.begin(), moreArguments.end());
    return start(arguments);
  }

  /// Seals a folder that is still empty. All have one data key, so that equal objects have equal names.
  void seal(const std::filesystem::path& to) {
    const auto record = platform::files::Path("127.0.0.1") / BackupFormat::encryptionFile;
    if (!organisation) {
      organisation = OrganisationFiles::make(folder.path());
      BackupEncryption::prepare(folder / "sealed/127.0.0.1",
                                InMemoryKeyProvider::fromFile(organisation->key));
    }
    platform::files::atomicWrite(platform::files::read(folder / "sealed" / record), to / record);
    BackupEncryption::unlock(to / "127.0.0.1", InMemoryKeyProvider::fromFile(organisation->key));
  }

  void runToTheEnd(const std::filesystem::path& to) {
    server.setRequestHook({});
    RunningProgram program(backupTo(to));
    const auto end = program.wait();
    ASSERT_EQ(end.status, 0) << end.error;
  }

  /// Sends the program a signal while the server holds its n-th request of this attempt. Returns its exit
  /// status; a run that ends before is not interrupted.
  int runAndInterruptAt(const std::filesystem::path& to, std::uint64_t n, int signal) {
    std::atomic<pid_t> victim{0};
    const auto before = server.log().total();
    server.setRequestHook([&victim, before, n, signal](std::uint64_t number) {
      if (number != before + n) return;
      while (victim.load() == 0) std::this_thread::yield();
      ::kill(victim.load(), signal);
    });
    RunningProgram program(backupTo(to));
    victim = program.id();
    const auto end = program.wait();
    server.setRequestHook({});
    return end.status;
  }
  void runAndKillAt(const std::filesystem::path& to, std::uint64_t n) {
    EXPECT_EQ(runAndInterruptAt(to, n, SIGKILL), 128 + SIGKILL);
  }

  /// Every object by its path, and every section's index, of the one backup of a folder, as plain bytes.
  std::map<std::string, std::string> contentOf(const std::filesystem::path& to) const {
    const BackupRepository found(to, "127.0.0.1");
    const auto cipher = found.cipher();
    const auto plain = [&](const platform::Bytes& bytes) {
      EXPECT_EQ(BackupCipher::isSealed(bytes), cipher.has_value());
      return cipher ? cipher->open(bytes) : bytes;
    };
    std::map<std::string, std::string> content;
    const auto objects = found.instanceDirectory / "store" / "objects";
    for (const auto& entry : std::filesystem::recursive_directory_iterator(objects))
      if (entry.is_regular_file() && !entry.path().filename().string().starts_with('.'))
        content[std::filesystem::relative(entry.path(), objects)] =
            plain(platform::files::read(entry.path()));
    const auto backup = found.latestComplete();
    EXPECT_TRUE(backup);
    if (!backup) return content;
    const auto sections = found.backupDirectory(backup->id) / BackupFormat::sectionsFolder;
    for (const auto& name : platform::files::visibleNames(sections))
      content["index " + name] = plain(platform::files::read(sections / name));
    for (auto summary : backup->manifest.sections)
      content["summary " + summary.id] = BackupFormat::makeEncoder().encode(summary);
    EXPECT_EQ(
        verifyBackup(found, *backup, [](const std::string& problem) { ADD_FAILURE() << problem; }).problems,
        0U);
    return content;
  }

  std::optional<OrganisationFiles> organisation;  ///< of folders that are sealed
  Arguments moreArguments;
};

}  // namespace orvik::test
