#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <map>
#include <optional>
#include <string>

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
namespace {

namespace files = platform::files;

constexpr int places = 20;

/// Backups of the real program, killed by the server in the middle of a request.
class Kill : public HostFixture {
 protected:
  ProgramStart backupTo(const std::filesystem::path& folderBelow) const {
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
    return start(arguments);
  }

  /// Seals a folder that is still empty. All have one data key, so that equal objects have equal names.
  void seal(const std::filesystem::path& to) {
    const auto record = files::Path("127.0.0.1") / BackupFormat::encryptionFile;
    if (!organisation) {
      organisation = OrganisationFiles::make(folder.path());
      BackupEncryption::prepare(folder / "sealed/127.0.0.1",
                                InMemoryKeyProvider::fromFile(organisation->key));
    }
    files::atomicWrite(files::read(folder / "sealed" / record), to / record);
    BackupEncryption::unlock(to / "127.0.0.1", InMemoryKeyProvider::fromFile(organisation->key));
  }

  void runToTheEnd(const std::filesystem::path& to) {
    server.setRequestHook({});
    RunningProgram program(backupTo(to));
    const auto end = program.wait();
    ASSERT_EQ(end.status, 0) << end.error;
  }

  /// Kills the program while the server holds its n-th request of this attempt.
  void runAndKillAt(const std::filesystem::path& to, std::uint64_t n) {
    std::atomic<pid_t> victim{0};
    const auto before = server.log().total();
    server.setRequestHook([&victim, before, n](std::uint64_t number) {
      if (number != before + n) return;
      while (victim.load() == 0) std::this_thread::yield();
      ::kill(victim.load(), SIGKILL);
    });
    RunningProgram program(backupTo(to));
    victim = program.id();
    EXPECT_EQ(program.wait().status, 128 + SIGKILL);
    server.setRequestHook({});
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
        content[std::filesystem::relative(entry.path(), objects)] = plain(files::read(entry.path()));
    const auto backup = found.latestComplete();
    EXPECT_TRUE(backup);
    if (!backup) return content;
    const auto sections = found.backupDirectory(backup->id) / BackupFormat::sectionsFolder;
    for (const auto& name : files::visibleNames(sections))
      content["index " + name] = plain(files::read(sections / name));
    for (auto summary : backup->manifest.sections)
      content["summary " + summary.id] = BackupFormat::makeEncoder().encode(summary);
    EXPECT_EQ(
        verifyBackup(found, *backup, [](const std::string& problem) { ADD_FAILURE() << problem; }).problems,
        0U);
    return content;
  }

  std::optional<OrganisationFiles> organisation;  ///< of folders that are sealed
};

TEST_F(Kill, AtTwentyPlacesAResumedRunEqualsAnUninterruptedOneObjectForObject) {
  const auto before = server.log().total();
  runToTheEnd(folder / "reference");
  const auto requests = server.log().total() - before;
  const auto reference = contentOf(folder / "reference");
  ASSERT_GT(reference.size(), 300U);

  for (int place = 1; place <= places; ++place) {
    const auto n = requests * static_cast<std::uint64_t>(place) / (places + 1);
    SCOPED_TRACE("killed at request " + std::to_string(n) + " of " + std::to_string(requests));
    const auto to = folder / ("killed-" + std::to_string(place));
    runAndKillAt(to, n);
    EXPECT_TRUE(BackupRepository(to, "127.0.0.1").completeBackups().empty());
    runToTheEnd(to);
    EXPECT_EQ(contentOf(to), reference);
    EXPECT_TRUE(BackupRepository(to, "127.0.0.1").partialBackupIDs().empty());
  }
}

TEST_F(Kill, OneRunThatIsKilledAgainAndAgainStillEndsWhole) {
  runToTheEnd(folder / "reference");
  const auto to = folder / "killed";
  for (int attempt = 0; attempt < places; ++attempt) runAndKillAt(to, 12);
  runToTheEnd(to);
  EXPECT_EQ(contentOf(to), contentOf(folder / "reference"));
}

TEST_F(Kill, ASealedRunThatIsKilledAgainAndAgainStillEndsWholeAndSealed) {
  const auto to = folder / "killed";
  for (const auto& each : {folder / "reference", to}) seal(each);
  runToTheEnd(folder / "reference");
  for (int attempt = 0; attempt < places / 2; ++attempt) runAndKillAt(to, 20);
  runToTheEnd(to);
  EXPECT_EQ(contentOf(to), contentOf(folder / "reference"));
}

}  // namespace
}  // namespace orvik::test
