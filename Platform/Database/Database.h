#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"
#include "Platform/Database/DatabaseError.h"

namespace platform {

namespace detail {
struct DatabaseConnection;
struct PreparedStatement;
}  // namespace detail

/// One command of a database, ready to run with other values again and again. What it returns is read row by
/// row; a view into a row is valid until the next `step`, `reset` or the end of the statement.
///
/// Values are bound from 1 on, columns are read from 0 on, as in the command's own text. A column is read as
/// the type that the table gives it; read as another it is converted. All throw `DatabaseError`.
///
/// It must not outlive its database, and is for the same thread.
class Statement {
 public:
  ~Statement();
  Statement(Statement&&) noexcept;
  Statement& operator=(Statement&&) = delete;

  /// Texts may hold any character, NUL too. All values are copied.
  Statement& bindText(int place, std::string_view text);
  Statement& bindBytes(int place, std::string_view bytes);
  Statement& bindInteger(int place, std::int64_t value);
  Statement& bindReal(int place, double value);
  Statement& bindBoolean(int place, bool value) { return bindInteger(place, value ? 1 : 0); }
  Statement& bindNothing(int place);

  /// Goes to the next row; false behind the last.
  bool step();
  /// Runs to the end and makes ready for other values.
  void run();
  /// Back to the start, with nothing bound.
  void reset() noexcept;

  bool isNothing(int column) const noexcept;
  std::string_view text(int column) const noexcept;
  std::string_view bytes(int column) const noexcept;
  std::int64_t integer(int column) const noexcept;
  double real(int column) const noexcept;
  bool boolean(int column) const noexcept { return integer(column) != 0; }

 private:
  friend class Database;
  Statement(detail::DatabaseConnection& connection, std::string_view sql);
  void require(int code) const;

  detail::DatabaseConnection* connection_;
  std::unique_ptr<detail::PreparedStatement> prepared_;
};

/// One connection to one SQLite file. The file is its owner's alone (0600), and so are the two that stand
/// beside it while it is open ("-wal" and "-shm"); the last process that closes it takes those away again.
///
/// Changes are flushed to stable storage when they are committed: they survive a power cut. Readers wait for
/// nobody; writers of all processes take turns, and wait for each other up to the time-out. Foreign keys are
/// enforced, and what stands in the file's own schema can't call functions of the program.
///
/// For one thread at a time.
class Database {
 public:
  using Path = std::filesystem::path;
  static constexpr std::chrono::milliseconds standardWait{10'000};

  using Use = std::function<void(Database&)>;

  /// Makes a database that appears whole, filled by `fill`, and its folder (0700) where it is missing. When
  /// something of that name is there or appears meanwhile, that stays, and nothing is left behind.
  /// `applicationID` tells it from the databases of others. Throws `DatabaseError`, `files::FileError` and
  /// what `fill` throws.
  static void create(const Path& path, std::int32_t applicationID, const Use& fill);

  /// Opens what is there, once `accept` has looked at it. Throws `DatabaseError`: also when there is no file,
  /// it can't be written, is cut off, is no database, or one of another application; and what `accept`
  /// throws. All files are as they were then.
  static Database open(const Path& path, std::int32_t applicationID, const Use& accept = {},
                       std::chrono::milliseconds longestWait = standardWait);

  ~Database();
  Database(Database&&) noexcept;
  Database& operator=(Database&&) = delete;

  const Path& path() const noexcept;

  /// The command, kept ready for when it is asked for again. Throws `DatabaseError`.
  Statement prepare(std::string_view sql);
  /// Runs commands that take no values and return no rows.
  void run(const char* sql);
  /// How many rows the last command changed.
  std::int64_t changedRows() const noexcept;

 private:
  explicit Database(const Path& path);
  void configure(std::chrono::milliseconds longestWait);
  void requireApplication(std::int32_t applicationID);
  void requireWhole();
  std::int64_t number(const char* sql);
  bool hasLog() const noexcept;
  void leaveLog(bool isLeft) noexcept;

  std::unique_ptr<detail::DatabaseConnection> connection_;
};

/// All changes from here on, or none: they are taken back when it goes without a commit. Nobody else writes
/// meanwhile. One at a time for a database.
class Transaction {
 public:
  /// Waits its turn. Throws `DatabaseError`.
  explicit Transaction(Database& database);
  ~Transaction();
  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  /// Throws `DatabaseError`; the changes are taken back then.
  void commit();

 private:
  Database& database_;
  bool isOpen_ = true;
};

}  // namespace platform
