#include "orvik/Care/CheckMemory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "tests/Support/Folders.h"

namespace orvik::host {
namespace {

using testing::ElementsAre;
using Part = ReadingRequest::Part;
namespace files = platform::files;

struct Remembering : testing::Test {
  files::TempFolder data;
  const CheckMemory memory{data.path()};
  const BackupRepository repository{data / "server"};

  static ReadingRequest requestOf(const char* text) { return ReadingRequest::parse(text).value(); }
  /// The part that is read when one is asked for, by a check that comes to its end.
  std::uint32_t partRead(const char* text, const BackupRepository& of) const {
    const auto turn = memory.next(of, requestOf(text));
    memory.remember(of, turn, std::get<ContentShare>(turn.reading.what), {});
    return std::get<Part>(turn.request.what).number;
  }
  std::uint32_t partRead(const char* text) const { return partRead(text, repository); }
  ContentShare shareRead(const char* text) const {
    const auto turn = memory.next(repository, requestOf(text));
    const auto share = std::get<ContentShare>(turn.reading.what);
    memory.remember(repository, turn, share, {});
    return share;
  }
};

TEST_F(Remembering, APartIsTheOneThatIsAskedFor) {
  for (const std::uint32_t number : {3U, 1U, 2U})
    EXPECT_EQ(partRead((std::to_string(number) + "/3").c_str()), number);
}

TEST_F(Remembering, APartThatWasReadGivesItsTurnToTheNextSoThatAllAreRead) {
  std::vector<std::uint32_t> read;
  for (int i = 0; i < 6; ++i) read.push_back(partRead("1/3"));
  EXPECT_THAT(read, ElementsAre(1, 2, 3, 1, 2, 3));
}

TEST_F(Remembering, TurnsGoAroundTheEnd) {
  EXPECT_EQ(partRead("3/3"), 3U);
  EXPECT_EQ(partRead("3/3"), 1U);
  EXPECT_EQ(partRead("3/3"), 2U);
}

TEST_F(Remembering, AnotherNumberOfPartsBeginsAnotherRound) {
  EXPECT_EQ(partRead("1/3"), 1U);
  EXPECT_EQ(partRead("1/4"), 1U);
  EXPECT_EQ(partRead("1/3"), 1U);
}

TEST_F(Remembering, ACheckThatDidNotComeToItsEndIsRepeated) {
  std::ignore = memory.next(repository, requestOf("1/3"));
  EXPECT_EQ(partRead("1/3"), 1U);
}

TEST_F(Remembering, SharesGoOnWhereTheLastOneEnded) {
  const auto first = shareRead("25%");
  const auto second = shareRead("25%");
  EXPECT_NE(first, second);
  EXPECT_EQ(second, ContentShare::from(first.end(), 25));
  const auto turn = memory.next(repository, requestOf("1K"));
  EXPECT_EQ(std::get<Reading::Budget>(turn.reading.what).begin, second.end());
  EXPECT_EQ(std::get<Reading::Budget>(turn.reading.what).bytes, 1000);
}

TEST_F(Remembering, AllOrNothingMovesNoPlace) {
  const auto first = shareRead("25%");
  EXPECT_TRUE(shareRead("100%").isAll());
  shareRead("0%");
  EXPECT_EQ(shareRead("25%"), ContentShare::from(first.end(), 25));
}

TEST_F(Remembering, EachFolderHasItsOwnTurn) {
  EXPECT_EQ(partRead("1/3"), 1U);
  EXPECT_EQ(partRead("1/3", BackupRepository(data / "other")), 1U);
  EXPECT_EQ(partRead("1/3", BackupRepository(data / "x/../server/")), 2U) << "two spellings of one folder";
}

TEST_F(Remembering, AFileThatCannotBeReadIsBegunAnew) {
  partRead("1/3");
  test::write(memory.file(), "torn");
  EXPECT_EQ(partRead("1/3"), 1U);
  EXPECT_EQ(partRead("1/3"), 2U);
}

}  // namespace
}  // namespace orvik::host
