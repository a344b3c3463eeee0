#include "Platform/Database/Database.h"

#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <iterator>
#include <system_error>
#include <utility>
#include <vector>

#include "Platform/Files/Files.h"
#include "Platform/UUID.h"

namespace platform {

namespace detail {

/// A command in SQLite's form; finalised when it goes.
struct PreparedStatement {
  std::string sql;
  sqlite3_stmt* handle = nullptr;

  explicit PreparedStatement(std::string_view text) : sql(text) {}
  ~PreparedStatement() { sqlite3_finalize(handle); }
  PreparedStatement(const PreparedStatement&) = delete;
  PreparedStatement& operator=(const PreparedStatement&) = delete;
};

struct DatabaseConnection {
  std::filesystem::path path;
  sqlite3* handle = nullptr;
  /// Those that nobody uses: a handful, the one that was used last at the end.
  std::vector<std::unique_ptr<PreparedStatement>> idle;

  explicit DatabaseConnection(std::filesystem::path file) : path(std::move(file)) {}
  ~DatabaseConnection() {
    idle.clear();
    sqlite3_close_v2(handle);
  }
  DatabaseConnection(const DatabaseConnection&) = delete;
  DatabaseConnection& operator=(const DatabaseConnection&) = delete;

  /// Throws for every code but that of success.
  void require(int code) const {
    if (code != SQLITE_OK) fail(code);
  }
  [[noreturn]] void fail(int code) const;
};

}  // namespace detail

namespace {

using Kind = DatabaseErrorKind;

bool isOutOfRoom(int systemCode) {
  return systemCode == ENOSPC || systemCode == EDQUOT || systemCode == EFBIG;
}

Kind kindOf(int code, int systemCode) {
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return Kind::busy;
    case SQLITE_READONLY:
    case SQLITE_PERM:
      return Kind::readOnly;
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return Kind::damaged;
    case SQLITE_FULL:
      return Kind::full;
    case SQLITE_IOERR:
      return isOutOfRoom(systemCode) ? Kind::full : Kind::other;
    case SQLITE_CANTOPEN:
      return systemCode == EROFS || systemCode == EACCES || systemCode == EPERM ? Kind::readOnly
                                                                                : Kind::other;
    case SQLITE_CONSTRAINT:
    case SQLITE_MISMATCH:
      return Kind::refused;
    default:
      return Kind::other;
  }
}

/// `detail` ends the sentence where it isn't whole without it.
[[noreturn]] void fail(Kind kind, const std::filesystem::path& path, std::string_view detail) {
  const auto ending = [&]() -> std::string {
    switch (kind) {
      case Kind::busy:
        return " is locked by another process.";
      case Kind::readOnly:
        return " is read-only, or its folder is.";
      case Kind::damaged:
        return fmt::format(" is damaged: {}.", detail);
      case Kind::full:
        return " can't grow: the disk is full, or a limit is reached.";
      case Kind::refused:
        return fmt::format(" refuses a record: {}.", detail);
      case Kind::other:
        break;
    }
    return fmt::format(" can't be used: {}.", detail);
  };
  throw DatabaseError(kind, "The database " + path.string() + ending());
}

/// The folder of a database that is to be made: its owner's alone, unless it is there already.
void makeFolder(const std::filesystem::path& folder) {
  if (folder.empty() || files::isDirectory(folder)) return;
  if (folder.has_parent_path()) files::createDirectories(folder.parent_path());
  if (::mkdir(folder.c_str(), S_IRWXU) != 0 && errno != EEXIST)
    files::throwFileError("create the folder", folder, errno);
}

}  // namespace

void detail::DatabaseConnection::fail(int code) const {
  // Of a failed commit SQLite does not note the system's reason; it is the last thing that went wrong.
  const int lastCode = errno;
  const int noted = handle ? sqlite3_system_errno(handle) : 0;
  const int systemCode = noted != 0 ? noted : lastCode;
  const int primary = code & 0xFF;
  std::string detail = handle ? sqlite3_errmsg(handle) : sqlite3_errstr(code);
  if ((primary == SQLITE_CANTOPEN || primary == SQLITE_IOERR) && systemCode != 0)
    detail = std::system_category().message(systemCode);
  platform::fail(kindOf(code, systemCode), path, detail);
}

Statement::Statement(detail::DatabaseConnection& connection, std::string_view sql)
    : connection_(&connection) {
  auto& idle = connection.idle;
  for (auto kept = idle.rbegin(); kept != idle.rend(); ++kept) {
    if ((*kept)->sql != sql) continue;
    prepared_ = std::move(*kept);
    idle.erase(std::next(kept).base());
    return;
  }
  prepared_ = std::make_unique<detail::PreparedStatement>(sql);
  require(sqlite3_prepare_v3(connection.handle, sql.data(), static_cast<int>(sql.size()),
                             SQLITE_PREPARE_PERSISTENT, &prepared_->handle, nullptr));
}

Statement::~Statement() {
  if (!prepared_) return;
  reset();
  try {
    connection_->idle.push_back(std::move(prepared_));
  } catch (const std::bad_alloc&) {
  }
}

Statement::Statement(Statement&&) noexcept = default;

void Statement::require(int code) const { connection_->require(code); }

Statement& Statement::bindText(int place, std::string_view text) {
  // A null address would bind nothing rather than an empty text.
  require(sqlite3_bind_text64(prepared_->handle, place, text.data() ? text.data() : "", text.size(),
                              SQLITE_TRANSIENT, SQLITE_UTF8));
  return *this;
}

Statement& Statement::bindBytes(int place, std::string_view bytes) {
  require(sqlite3_bind_blob64(prepared_->handle, place, bytes.data() ? bytes.data() : "", bytes.size(),
                              SQLITE_TRANSIENT));
  return *this;
}

Statement& Statement::bindInteger(int place, std::int64_t value) {
  require(sqlite3_bind_int64(prepared_->handle, place, value));
  return *this;
}

Statement& Statement::bindReal(int place, double value) {
  require(sqlite3_bind_double(prepared_->handle, place, value));
  return *this;
}

Statement& Statement::bindNothing(int place) {
  require(sqlite3_bind_null(prepared_->handle, place));
  return *this;
}

bool Statement::step() {
  const int code = sqlite3_step(prepared_->handle);
  if (code == SQLITE_ROW) return true;
  if (code != SQLITE_DONE) connection_->fail(sqlite3_extended_errcode(connection_->handle));
  return false;
}

void Statement::run() {
  while (step()) {
  }
  reset();
}

void Statement::reset() noexcept {
  sqlite3_reset(prepared_->handle);
  sqlite3_clear_bindings(prepared_->handle);
}

bool Statement::isNothing(int column) const noexcept {
  return sqlite3_column_type(prepared_->handle, column) == SQLITE_NULL;
}

std::string_view Statement::text(int column) const noexcept {
  const auto* const start = reinterpret_cast<const char*>(sqlite3_column_text(prepared_->handle, column));
  return {start ? start : "", static_cast<std::size_t>(sqlite3_column_bytes(prepared_->handle, column))};
}

std::string_view Statement::bytes(int column) const noexcept {
  const auto* const start = static_cast<const char*>(sqlite3_column_blob(prepared_->handle, column));
  return {start ? start : "", static_cast<std::size_t>(sqlite3_column_bytes(prepared_->handle, column))};
}

std::int64_t Statement::integer(int column) const noexcept {
  return sqlite3_column_int64(prepared_->handle, column);
}

double Statement::real(int column) const noexcept { return sqlite3_column_double(prepared_->handle, column); }

Database::Database(const Path& path)
    : connection_(std::make_unique<detail::DatabaseConnection>(std::filesystem::absolute(path))) {
  connection_->require(sqlite3_open_v2(connection_->path.c_str(), &connection_->handle,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr));
  sqlite3_extended_result_codes(connection_->handle, 1);
  if (sqlite3_db_readonly(connection_->handle, "main") == 1) fail(Kind::readOnly, connection_->path, {});
}
Database::~Database() = default;
Database::Database(Database&&) noexcept = default;

void Database::create(const Path& path, std::int32_t applicationID, const Use& fill) {
  makeFolder(path.parent_path());
  if (files::exists(path)) return;
  const auto beside =
      path.parent_path() / fmt::format(".{}.{}.tmp", path.filename().string(), UUID::random().text());
  try {
    // First an empty file with the right mode: SQLite gives those beside it the mode that it finds.
    using std::filesystem::perms;
    files::atomicWrite("", beside, files::Flush::no, perms::owner_read | perms::owner_write);
    {
      Database database(beside);
      database.configure(standardWait);
      database.run(fmt::format("PRAGMA application_id = {}", applicationID).c_str());
      fill(database);
      // Last, so that all stands in the one file. The mode is part of it.
      database.run("PRAGMA journal_mode = WAL");
    }
    files::renameWithoutReplacing(beside, path);
    files::syncFolder(path.has_parent_path() ? path.parent_path() : Path("."));
  } catch (const files::FileError& error) {
    files::tryRemove(beside);
    if (error.kind() != files::FileErrorKind::exists) throw;
  } catch (...) {
    files::tryRemove(beside);
    throw;
  }
}

Database Database::open(const Path& path, std::int32_t applicationID, const Use& accept,
                        std::chrono::milliseconds longestWait) {
  Database database(path);
  database.leaveLog(database.hasLog());
  database.configure(longestWait);
  database.requireApplication(applicationID);
  database.requireWhole();
  if (accept) accept(database);
  database.leaveLog(false);
  return database;
}

const Database::Path& Database::path() const noexcept { return connection_->path; }

Statement Database::prepare(std::string_view sql) { return {*connection_, sql}; }

void Database::run(const char* sql) {
  connection_->require(sqlite3_exec(connection_->handle, sql, nullptr, nullptr, nullptr));
}

std::int64_t Database::changedRows() const noexcept { return sqlite3_changes64(connection_->handle); }

void Database::configure(std::chrono::milliseconds longestWait) {
  sqlite3* const handle = connection_->handle;
  sqlite3_busy_timeout(handle, static_cast<int>(longestWait.count()));
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_ENABLE_FKEY, 1, nullptr);
  run("PRAGMA synchronous = FULL");
  run("PRAGMA cell_size_check = ON");
  run("PRAGMA temp_store = MEMORY");  // nothing of it in files elsewhere
  run("PRAGMA cache_size = -8192");   // KiB; the standard 2 MiB are less than the indexes of a large fleet
}

void Database::requireApplication(std::int32_t applicationID) {
  constexpr std::int64_t shortestFile = 512;  // SQLite takes what is shorter for an empty database
  if (!hasLog() && files::size(path()).value_or(0) < shortestFile)
    fail(Kind::damaged, path(), "it is empty, or cut off");
  if (number("PRAGMA application_id") != applicationID)
    throw DatabaseError(Kind::damaged, "The database " + path().string() + " is one of another program.");
}

/// A page that was cut off reads as zeros, which the rest may never notice.
void Database::requireWhole() {
  run("BEGIN");
  const auto expected = number("PRAGMA page_count") * number("PRAGMA page_size");
  // Without a log the reading holds off whoever would write to the file itself.
  const auto size = files::size(path());
  const bool isCut = !hasLog() && size && *size < expected;
  run("COMMIT");
  if (isCut)
    fail(Kind::damaged, path(), fmt::format("it is cut off, with {} of its {} bytes", *size, expected));
}

std::int64_t Database::number(const char* sql) {
  auto statement = prepare(sql);
  statement.step();
  return statement.integer(0);
}

bool Database::hasLog() const noexcept { return files::size(path().string() + "-wal").value_or(0) > 0; }

/// Whether closing leaves a log with content as it is, rather than taking it into the file.
void Database::leaveLog(bool isLeft) noexcept {
  sqlite3_db_config(connection_->handle, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, isLeft ? 1 : 0, nullptr);
}

Transaction::Transaction(Database& database) : database_(database) { database_.run("BEGIN IMMEDIATE"); }

Transaction::~Transaction() {
  if (!isOpen_) return;
  try {
    database_.run("ROLLBACK");
  } catch (const DatabaseError&) {
    // What failed may have taken the changes back already.
  }
}

void Transaction::commit() {
  database_.run("COMMIT");
  isOpen_ = false;
}

}  // namespace platform
