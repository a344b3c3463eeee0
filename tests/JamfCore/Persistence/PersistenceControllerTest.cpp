#include "JamfCore/Persistence/PersistenceController.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <map>
#include <thread>
#include <vector>

#include "JamfCore/Persistence/Records.h"
#include "Platform/Crypto/Digest.h"
#include "tests/JamfCore/LocalDatabase.h"
#include "tests/Support/Commands.h"
#include "tests/Support/Folders.h"

namespace jamf {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;
namespace files = platform::files;

class LocalSchema : public test::LocalDatabase {
 protected:
  /// Changes the file behind the records' back.
  void run(const char* sql) const {
    platform::Database::open(path, PersistenceController::applicationID).run(sql);
  }
  std::string refusal() const {
    try {
      open();
    } catch (const PersistenceError& error) {
      return error.description();
    }
    return "it was not refused";
  }
  std::map<std::string, std::string> content() const {
    auto found = orvik::test::contentOf(home.path());
    for (auto& [name, bytes] : found) bytes = platform::sha256Hex(bytes);
    return found;
  }
  template <class Record>
  static std::string columnsOf() {
    return std::string(Record::table) + ": " + detail::columnNames<Record>() + "\n";
  }
};

TEST_F(LocalSchema, AnotherReaderFindsTheRecordsAsTheyAreStated) {
  open();
  const std::string script = R"(
import sqlite3, sys
db = sqlite3.connect(sys.argv[1])
for name in 'integrity_check', 'journal_mode':
    print(db.execute('PRAGMA ' + name).fetchone()[0])
print(db.execute('SELECT version FROM SchemaMigration').fetchall())
for table in 'JamfOrganization', 'PlaybookRecord', 'BackupScheduleRecord', 'CachedDevice':
    print(table + ': ' + ', '.join(row[1] for row in db.execute('PRAGMA table_info(' + table + ')')))
print([row[1] for row in db.execute('PRAGMA table_list') if not row[5] and row[1][:7] != 'sqlite_'])
)";
  // All tables are strict: the last line lists those that are not.
  EXPECT_EQ(orvik::test::outputOf("python3", {"-c", script, path.string()}),
            "ok\nwal\n[('1.0.0',)]\n" + columnsOf<JamfOrganization>() + columnsOf<PlaybookRecord>() +
                columnsOf<BackupScheduleRecord>() + columnsOf<CachedDevice>() + "[]\n");
}

TEST_F(LocalSchema, ItIsItsOwnersAloneAndSoIsItsFolder) {
  const auto before = ::umask(0);
  open();
  ::umask(before);
  struct stat about {};
  ASSERT_EQ(::stat(path.c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 07777, 0600U);
  ASSERT_EQ(::stat(path.parent_path().c_str(), &about), 0);
  EXPECT_EQ(about.st_mode & 07777, 0700U);
}

TEST_F(LocalSchema, AnyNumberMayMakeItAtOnce) {
  std::vector<pid_t> children;
  for (int i = 0; i < 6; ++i) {
    const auto child = ::fork();
    if (child == 0) {
      try {
        open()->save([](ModelChanges& changes) {
          changes.insert(JamfOrganization{platform::UUID::random(), "x", "", "", {}, {}, {}});
        });
        ::_exit(0);
      } catch (...) {
        ::_exit(1);
      }
    }
    children.push_back(child);
  }
  for (const auto child : children) {
    int status = -1;
    ::waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
  }
  EXPECT_EQ(open()->fetch<JamfOrganization>().size(), 6U);
  EXPECT_EQ(content().size(), 1U) << "nothing but the database is left";
}

TEST_F(LocalSchema, ANewerSchemaIsRefusedAndUntouched) {
  open();
  run("INSERT INTO SchemaMigration VALUES ('1.1.0', 0)");
  const auto before = content();
  EXPECT_EQ(refusal(), "Failed to create SwiftData ModelContainer: The database " + path.string() +
                           " has the schema 1.1.0 of a newer release; this one knows none beyond 1.0.0.");
  EXPECT_EQ(content(), before);
  EXPECT_EQ(before.size(), 1U);
}

TEST_F(LocalSchema, ADatabaseWithoutASchemaYetGetsIt) {
  open();
  run("DROP TABLE CachedDevice; DROP TABLE BackupScheduleRecord; DROP TABLE PlaybookRecord;"
      "DROP TABLE JamfOrganization; DELETE FROM SchemaMigration");
  EXPECT_TRUE(open()->fetch<JamfOrganization>().empty());
  EXPECT_TRUE(open()->fetch<CachedDevice>().empty());
}

TEST_F(LocalSchema, FilesOfOthersAreRefusedAndUntouched) {
  for (const std::string bytes : {"", "a text\n", "SQLite format 3"}) {
    orvik::test::write(path, bytes);
    EXPECT_THAT(refusal(), AllOf(StartsWith("Failed to create SwiftData ModelContainer: The database "),
                                 HasSubstr(path.string()), HasSubstr("damaged")));
    EXPECT_EQ(files::read(path), bytes);
    EXPECT_EQ(content().size(), 1U);
  }
  files::remove(path);
  platform::Database::create(path, 7, [](auto& database) { database.run("CREATE TABLE theirs (a)"); });
  const auto before = content();
  EXPECT_THAT(refusal(), HasSubstr("is one of another program."));
  EXPECT_EQ(content(), before);
}

TEST_F(LocalSchema, ACutDatabaseIsNeverMadeAnew) {
  open();
  const auto whole = files::read(path);
  for (std::size_t length = 0; length < whole.size(); length += 1013) {
    orvik::test::write(path, std::string_view(whole).substr(0, length));
    EXPECT_THAT(refusal(), HasSubstr("is damaged: ")) << length;
    EXPECT_EQ(files::size(path), static_cast<std::int64_t>(length));
  }
}

TEST_F(LocalSchema, APlaceWhereNothingCanBeMadeIsTold) {
  const auto makeAt = [](const std::filesystem::path& place) {
    try {
      PersistenceController::makeContainer(place);
    } catch (const PersistenceError& error) {
      return error.description();
    }
    return std::string("it was made");
  };
  EXPECT_THAT(makeAt("/proc/orvik/a.sqlite"), HasSubstr("/proc/orvik"));
  orvik::test::write(home / "file", "x");
  EXPECT_THAT(makeAt(home / "file/a.sqlite"), HasSubstr((home / "file").string()));
  EXPECT_THAT(makeAt(home.path()), HasSubstr(home.path().string()));
}

TEST_F(LocalSchema, ANameThatMeansSomethingToTheLibraryIsAFile) {
  const auto odd = home / "file:a?mode=memory";
  PersistenceController::makeContainer(odd)->save([](ModelChanges& changes) {
    changes.insert(JamfOrganization{{}, "x", "", "", {}, {}, {}});
  });
  EXPECT_EQ(PersistenceController::makeContainer(odd)->fetch<JamfOrganization>().size(), 1U);
}

}  // namespace
}  // namespace jamf
