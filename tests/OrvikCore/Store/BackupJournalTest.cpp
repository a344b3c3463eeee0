#include "OrvikCore/Store/BackupJournal.h"

#include <gtest/gtest.h>

#include <memory>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Base64.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/Folders.h"
#include "tests/Support/Golden.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/TestKeys.h"

namespace {

using namespace orvik;
namespace files = platform::files;
using test::journalEntry;
using JournalEntries = std::vector<JournalEntry>;

class Journal : public testing::Test {
 protected:
  files::TempFolder folder;
  const std::optional<BackupCipher> cipher = test::cipherOf();
  const std::filesystem::path path = folder / "journal.jsonl";
  const JournalEntry one = journalEntry("policies", "1");
  const JournalEntry two = journalEntry("policies", "2");
  const JournalEntry three = journalEntry("scripts", "3");

  std::string line(const JournalEntry& entry) const {
    return BackupFormat::makeLineEncoder().encode(entry) + "\n";
  }
  std::string sealedLine(const JournalEntry& entry) const {
    return platform::base64Encode(cipher->seal(BackupFormat::makeLineEncoder().encode(entry))) + "\n";
  }
};

TEST_F(Journal, MakingOneTouchesNothing) {
  BackupJournal journal(folder / "none");
  journal.close();
  EXPECT_FALSE(files::exists(folder / "none"));
  EXPECT_EQ(BackupJournal::read(folder / "none"), JournalEntries());
}

TEST_F(Journal, EntriesAreThereAtOnceOneALine) {
  BackupJournal journal(folder.path());
  journal.append(one);
  EXPECT_EQ(files::read(path), line(one));
  journal.append(three);
  EXPECT_EQ(files::read(path), line(one) + line(three));
  EXPECT_EQ(BackupJournal::read(folder.path()), (JournalEntries{one, three}));
}

TEST_F(Journal, LineFeedsAndNULsInNamesStayInTheirLine) {
  auto entry = one;
  entry.item.name = std::string("a\nb\0\"c\\\xe2\x80\xa8", 10);
  BackupJournal journal(folder.path());
  journal.append(entry);
  journal.append(two);
  EXPECT_EQ(BackupJournal::read(folder.path()), (JournalEntries{entry, two}));
}

TEST_F(Journal, AppendAfterCloseGoesOnInTheSameFile) {
  BackupJournal journal(folder.path());
  journal.append(one);
  journal.close();
  journal.append(two);
  EXPECT_EQ(files::read(path), line(one) + line(two));
}

TEST_F(Journal, ALineCutOffInMidJSONCostsOnlyItself) {
  const auto whole = line(one) + line(two);
  for (std::size_t cut = 1; cut < line(three).size() - 1; ++cut) {
    test::write(path, whole + line(three).substr(0, cut));
    EXPECT_EQ(BackupJournal::read(folder.path()), (JournalEntries{one, two})) << cut;
  }
}

TEST_F(Journal, AnEntryAfterATornLineIsReadAgain) {
  test::write(path, line(one) + line(two).substr(0, 20));
  BackupJournal(folder.path()).append(three);
  EXPECT_EQ(BackupJournal::read(folder.path()), (JournalEntries{one, three}));
}

TEST_F(Journal, AWholeLastLineWithoutItsLineFeedCounts) {
  const auto text = line(one) + line(two);
  EXPECT_EQ(BackupJournal::parse(text.substr(0, text.size() - 1)), (JournalEntries{one, two}));
}

TEST_F(Journal, AGarbledLineInTheMiddleCostsOnlyItself) {
  const auto deep = "{\"section\":" + std::string(100'000, '[') + std::string(100'000, ']') + "}";
  for (const auto& garbled :
       {std::string("\0\x01\xff{}", 5), std::string("{"), std::string("[]"), std::string("{}"),
        std::string("{\"section\":\"policies\",\"item\":null}"), std::string("\xef\xbb\xbf") + line(three),
        deep, std::string(" ") + line(three), std::string("{\"section\":\"\xff\"}")})
    EXPECT_EQ(BackupJournal::parse(line(one) + garbled + "\n" + line(two)), (JournalEntries{one, two}))
        << garbled;
}

TEST_F(Journal, ASealedLineIsTheBase64TextOfTheSealedJSON) {
  BackupJournal journal(folder.path(), cipher);
  journal.append(one);
  const auto text = files::read(path);
  ASSERT_TRUE(text.ends_with('\n'));
  const auto sealed = platform::base64Decode(std::string_view(text).substr(0, text.size() - 1));
  ASSERT_TRUE(sealed && BackupCipher::isSealed(*sealed));
  EXPECT_EQ(cipher->open(*sealed) + "\n", line(one));
  EXPECT_EQ(BackupJournal::read(folder.path(), cipher), JournalEntries{one});
}

TEST_F(Journal, ASealedJournalReadWithoutACipherIsEmpty) {
  BackupJournal journal(folder.path(), cipher);
  journal.append(one);
  EXPECT_EQ(BackupJournal::read(folder.path()), JournalEntries());
  EXPECT_EQ(BackupJournal::read(folder.path(), test::cipherOf("another key")), JournalEntries());
}

TEST_F(Journal, PlainAndSealedLinesCanStandInOneFile) {
  const auto text = line(one) + sealedLine(two) + line(three);
  EXPECT_EQ(BackupJournal::parse(text, cipher), (JournalEntries{one, two, three}));
  EXPECT_EQ(BackupJournal::parse(text), (JournalEntries{one, three}));
}

TEST_F(Journal, ADamagedSealedLineCostsOnlyItself) {
  auto damaged = sealedLine(two);
  damaged[40] = damaged[40] == 'A' ? 'B' : 'A';
  const auto sealedGarbage = platform::base64Encode(cipher->seal("{}")) + "\n";
  const auto text = sealedLine(one) + damaged + "not Base64!\n" + sealedGarbage + sealedLine(three);
  EXPECT_EQ(BackupJournal::parse(text, cipher), (JournalEntries{one, three}));
}

TEST_F(Journal, AFailureOfTheDiskReachesTheCaller) {
  BackupJournal journal(folder.path());
  journal.append(one);
  files::armFaultSeam(1, files::FaultAction::fail);
  EXPECT_THROW(journal.append(two), files::FileError);
  files::disarmFaultSeam();
  journal.append(three);
  EXPECT_EQ(BackupJournal::read(folder.path()), (JournalEntries{one, three}));
}

TEST_F(Journal, WhatIsNoFileReadsAsEmpty) {
  std::filesystem::create_directories(path);
  EXPECT_EQ(BackupJournal::read(folder.path()), JournalEntries());
  std::filesystem::remove(path);
  test::makePipe(path);
  EXPECT_EQ(BackupJournal::read(folder.path()), JournalEntries());
}

class State : public testing::Test {
 protected:
  files::TempFolder folder;
  const PartialBackupState state{
      "2025-03-04T091500Z", test::date("2025-03-04T09:15:00Z"), {}, test::plainOptions(), 3, {}};
};

TEST_F(State, LoadsWhatWasSavedByteForByte) {
  state.save(folder.path());
  EXPECT_EQ(files::read(folder / "state.json"), BackupFormat::makeEncoder().encode(state));
  EXPECT_EQ(PartialBackupState::load(folder.path()), state);
}

TEST_F(State, OfAnEarlierVersionLoadsWithoutEncrypted) {
  test::write(folder / "state.json",
              files::read(test::goldenPath("PartialBackupState/earlier-version.json")));
  const auto loaded = PartialBackupState::load(folder.path());
  ASSERT_TRUE(loaded);
  EXPECT_EQ(loaded->encrypted, std::nullopt);
}

TEST_F(State, ThatCantBeReadIsNothing) {
  EXPECT_EQ(PartialBackupState::load(folder.path()), std::nullopt);
  for (const char* text : {"", "{}", "null", "{\"backupID\":1}"}) {
    test::write(folder / "state.json", text);
    EXPECT_EQ(PartialBackupState::load(folder.path()), std::nullopt) << text;
  }
}

}  // namespace
