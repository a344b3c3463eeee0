#include "Platform/Database/Database.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <functional>
#include <iostream>
#include <map>
#include <thread>

#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "tests/Support/Folders.h"

namespace platform {
namespace {

using testing::HasSubstr;
using Kind = DatabaseErrorKind;

constexpr std::int32_t application = 0x54455354;

class DatabaseFile : public testing::Test {
 protected:
  static void fill(Database& database) {
    database.run(
        "CREATE TABLE T (number INTEGER PRIMARY KEY, text TEXT NOT NULL, bytes BLOB, real REAL) STRICT");
    database.run("CREATE TABLE Child (number INTEGER NOT NULL REFERENCES T (number)) STRICT");
  }
  void create() const { Database::create(path, application, fill); }
  Database open(std::chrono::milliseconds wait = std::chrono::milliseconds(0)) const {
    return Database::open(path, application, {}, wait);
  }
  static void add(Database& database, std::string_view text) {
    database.prepare("INSERT INTO T (text) VALUES (?)").bindText(1, text).run();
  }
  static std::int64_t count(Database& database) {
    auto statement = database.prepare("SELECT count(*) FROM T");
    statement.step();
    return statement.integer(0);
  }
  static mode_t modeOf(const std::filesystem::path& file) {
    struct stat about {};
    return ::stat(file.c_str(), &about) == 0 ? about.st_mode & 07777 : 0;
  }
  /// The files and what is in them, short enough to be shown.
  std::map<std::string, std::string> content() const {
    auto files = orvik::test::contentOf(folder.path());
    for (auto& [name, bytes] : files) bytes = digestOf(bytes);
    return files;
  }
  static std::string digestOf(std::string_view bytes) {
    return fmt::format("{} bytes {}", bytes.size(), sha256Hex(bytes));
  }

  files::TempFolder folder;
  const std::filesystem::path path = folder / "inner" / "a.sqlite";
};

struct Refusal {
  Kind kind = Kind::other;
  std::string text = "it was not refused";
};
Refusal refusalOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const DatabaseError& error) {
    return {error.kind(), error.description()};
  }
  return {};
}

TEST_F(DatabaseFile, ValuesComeBackAsTheyWere) {
  create();
  auto database = open();
  const std::string text("a\0b ü", 6), bytes("\xFF\0\x01", 3);
  database.prepare("INSERT INTO T (number, text, bytes, real) VALUES (?, ?, ?, ?)")
      .bindInteger(1, INT64_MIN)
      .bindText(2, text)
      .bindBytes(3, bytes)
      .bindReal(4, 0.1)
      .run();
  database.prepare("INSERT INTO T (text, bytes) VALUES (?, ?)").bindText(1, {}).bindNothing(2).run();
  auto statement = database.prepare("SELECT number, text, bytes, real FROM T ORDER BY number");
  ASSERT_TRUE(statement.step());
  EXPECT_EQ(statement.integer(0), INT64_MIN);
  EXPECT_EQ(statement.text(1), text);
  EXPECT_EQ(statement.bytes(2), bytes);
  EXPECT_EQ(statement.real(3), 0.1);
  ASSERT_TRUE(statement.step());
  EXPECT_EQ(statement.text(1), "");
  EXPECT_FALSE(statement.isNothing(1));
  EXPECT_TRUE(statement.isNothing(2));
  EXPECT_FALSE(statement.step());
}

TEST_F(DatabaseFile, AStatementRunsAgainWithOtherValuesAndTwoOfOneTextAreTwo) {
  create();
  auto database = open();
  {
    auto insert = database.prepare("INSERT INTO T (text) VALUES (?)");
    for (const char* each : {"a", "b", "c"}) insert.bindText(1, each).run();
  }
  auto outer = database.prepare("SELECT text FROM T ORDER BY number");
  int pairs = 0;
  while (outer.step()) {
    auto inner = database.prepare("SELECT text FROM T ORDER BY number");
    while (inner.step()) ++pairs;
  }
  EXPECT_EQ(pairs, 9);
  // Nothing of what was bound before is left.
  EXPECT_EQ(refusalOf([&] { database.prepare("INSERT INTO T (text) VALUES (?)").run(); }).kind,
            Kind::refused);
}

TEST_F(DatabaseFile, ItsFilesAreItsOwnersAlone) {
  const auto before = ::umask(0);
  create();
  auto database = open();
  add(database, "a");
  ::umask(before);
  EXPECT_EQ(modeOf(path.parent_path()), 0700U);
  for (const auto* end : {"", "-wal", "-shm"}) EXPECT_EQ(modeOf(path.string() + end), 0600U) << end;
}

TEST_F(DatabaseFile, TheLastToCloseLeavesTheOneFile) {
  create();
  {
    auto database = open();
    add(database, "a");
  }
  EXPECT_EQ(files::list(path.parent_path()), std::vector<std::string>{"a.sqlite"});
  auto database = open();
  EXPECT_EQ(count(database), 1);
}

TEST_F(DatabaseFile, WhatIsThereIsNeverMadeAnew) {
  create();
  {
    auto database = open();
    add(database, "a");
  }
  const auto before = content();
  Database::create(path, application, [](Database&) { FAIL() << "it is there"; });
  EXPECT_EQ(content(), before);
}

TEST_F(DatabaseFile, WhatCannotBeFilledIsNotMade) {
  EXPECT_THROW(Database::create(path, application, [](Database&) { throw Error("no"); }), Error);
  EXPECT_TRUE(content().empty());
}

TEST_F(DatabaseFile, ManyThatMakeItAtOnceAllFindOne) {
  std::vector<std::jthread> threads;
  for (int i = 0; i < 8; ++i)
    threads.emplace_back([&] {
      create();
      auto database = open(Database::standardWait);
      add(database, "a");
    });
  threads.clear();
  auto database = open();
  EXPECT_EQ(count(database), 8);
}

TEST_F(DatabaseFile, ChangesOfATransactionAreAllThereOrNone) {
  create();
  auto database = open();
  {
    Transaction transaction(database);
    add(database, "a");
  }
  EXPECT_EQ(count(database), 0);
  Transaction transaction(database);
  add(database, "a");
  transaction.commit();
  EXPECT_EQ(count(database), 1);
}

TEST_F(DatabaseFile, AReaderWaitsForNobodyAndAWriterIsToldWhoHoldsIt) {
  create();
  auto first = open(), second = open();
  Transaction transaction(first);
  add(first, "a");
  EXPECT_EQ(count(second), 0);
  const auto refusal = refusalOf([&] { add(second, "b"); });
  EXPECT_EQ(refusal.kind, Kind::busy);
  EXPECT_EQ(refusal.text, "The database " + path.string() + " is locked by another process.");
  transaction.commit();
  EXPECT_EQ(count(second), 1);
}

TEST_F(DatabaseFile, AWriterWaitsItsTurn) {
  create();
  auto first = open(), second = open(Database::standardWait);
  Transaction transaction(first);
  add(first, "a");
  std::jthread writer([&] { add(second, "b"); });
  transaction.commit();
  writer.join();
  EXPECT_EQ(count(first), 2);
}

TEST_F(DatabaseFile, RulesOfTablesAreKept) {
  create();
  auto database = open();
  EXPECT_EQ(refusalOf([&] { database.run("INSERT INTO Child (number) VALUES (7)"); }).kind, Kind::refused);
  const auto refusal = refusalOf([&] { database.run("INSERT INTO T (text, real) VALUES ('x', 'y')"); });
  EXPECT_EQ(refusal.kind, Kind::refused);
  EXPECT_THAT(refusal.text, HasSubstr(path.string() + " refuses a record: cannot store TEXT value"));
}

TEST_F(DatabaseFile, AFileThatIsNotThereIsNotMadeByOpening) {
  const auto refusal = refusalOf([&] { open(); });
  EXPECT_THAT(refusal.text, HasSubstr(path.string() + " can't be used: No such file or directory."));
  EXPECT_TRUE(content().empty());
}

TEST_F(DatabaseFile, ForeignFilesAreRefusedAndStayAsTheyAre) {
  create();
  EXPECT_THAT(refusalOf([&] { Database::open(path, application + 1); }).text,
              HasSubstr("one of another program"));
  for (const std::string bytes : {"", "x", "no database at all, but a text of some length\n"}) {
    orvik::test::write(path, bytes);
    const auto refusal = refusalOf([&] { open(); });
    EXPECT_EQ(refusal.kind, Kind::damaged) << bytes;
    EXPECT_THAT(refusal.text, HasSubstr(path.string() + " is damaged: "));
    EXPECT_EQ(content(), (std::map<std::string, std::string>{{"inner/a.sqlite", digestOf(bytes)}}));
  }
}

TEST_F(DatabaseFile, AFileThatWasCutAnywhereIsRefusedAndStaysAsItIs) {
  create();
  {
    auto database = open();
    Transaction transaction(database);
    for (int i = 0; i < 300; ++i) add(database, std::string(100, 'x'));
    transaction.commit();
  }
  const auto whole = files::read(path);
  ASSERT_GT(whole.size(), 10U * 4096);
  std::vector<std::size_t> lengths{0, 1, 15, 16, 17, 99, 100, 101, 511, 512, whole.size() - 1};
  for (std::size_t length = 1000; length < whole.size(); length += 1531) lengths.push_back(length);
  for (std::size_t length = 4096; length < whole.size(); length += 4096) lengths.push_back(length);
  for (const auto length : lengths) {
    orvik::test::write(path, std::string_view(whole).substr(0, length));
    const auto refusal = refusalOf([&] { open(); });
    EXPECT_EQ(refusal.kind, Kind::damaged) << length << ": " << refusal.text;
    EXPECT_EQ(content(),
              (std::map<std::string, std::string>{{"inner/a.sqlite", digestOf(whole.substr(0, length))}}))
        << length;
  }
  orvik::test::write(path, whole);
  auto database = open();
  EXPECT_EQ(count(database), 300);
}

TEST_F(DatabaseFile, WhatIsRefusedAfterALookStaysAsItIsWithTheLogOfOthers) {
  create();
  if (const auto child = ::fork(); child == 0) {
    // Ends without closing, as by a crash: the log stays.
    auto database = open();
    add(database, "a");
    ::_exit(0);
  } else {
    int status = 0;
    ::waitpid(child, &status, 0);
  }
  const auto before = content();
  ASSERT_TRUE(before.contains("inner/a.sqlite-wal"));
  const auto refuse = [](Database&) { throw Error("no"); };
  EXPECT_THROW(Database::open(path, application, refuse), Error);
  auto after = content();
  after.erase("inner/a.sqlite-shm");  // holds the locks, and is made anew by whoever comes first
  auto expected = before;
  expected.erase("inner/a.sqlite-shm");
  EXPECT_EQ(after, expected);
  auto database = open();
  EXPECT_EQ(count(database), 1);
}

TEST_F(DatabaseFile, ADiskWithoutRoomIsToldAndNothingIsLost) {
  create();
  const auto child = ::fork();
  if (child == 0) {
    // A limit of the account, which the kernel enforces like a full disk.
    ::signal(SIGXFSZ, SIG_IGN);
    auto database = open();
    add(database, "a");
    const rlimit limit{200'000, 200'000};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const auto refusal = refusalOf([&] {
      Transaction transaction(database);
      for (int i = 0; i < 40; ++i) add(database, std::string(10'000, 'x'));
      transaction.commit();
    });
    if (refusal.kind != Kind::full) {
      std::cerr << refusal.text << '\n';
      ::_exit(1);
    }
    if (refusal.text.find("can't grow") == refusal.text.npos) ::_exit(2);
    ::_exit(count(database) == 1 ? 0 : 3);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  auto database = open();
  EXPECT_EQ(count(database), 1);
}

TEST_F(DatabaseFile, APlaceThatCannotBeWrittenIsToldSo) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs a process of another user";
  create();
  const auto statusOf = [&](mode_t folderMode, mode_t fileMode) {
    ::chmod(folder.path().c_str(), 0755);
    ::chmod(path.parent_path().c_str(), folderMode);
    ::chmod(path.c_str(), fileMode);
    const auto child = ::fork();
    if (child == 0) {
      if (::setgid(65534) != 0 || ::setuid(65534) != 0) ::_exit(9);
      const auto refusal = refusalOf([&] { open(); });
      ::_exit(refusal.kind == Kind::readOnly && refusal.text.find("is read-only") != refusal.text.npos ? 0
                                                                                                       : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return status;
  };
  const auto before = content();
  EXPECT_EQ(statusOf(0755, 0644), 0) << "neither file nor folder";
  EXPECT_EQ(statusOf(0777, 0644), 0) << "the file alone";
  EXPECT_EQ(statusOf(0755, 0666), 0) << "the folder alone";
  EXPECT_EQ(content(), before);
}

}  // namespace
}  // namespace platform
