#pragma once

#include <fmt/format.h>

#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "JamfCore/Persistence/Column.h"
#include "Platform/Database/Database.h"
#include "Platform/UUID.h"

namespace jamf {

namespace detail {

/// Calls `body(column, place)` for each column of a record, places counted from 0.
template <class Record, class Body>
void forEachColumn(const Body& body) {
  std::apply(
      [&](const auto&... column) {
        int place = 0;
        (body(column, place++), ...);
      },
      Record::columns());
}

template <class Record, class Member, TextForm form>
void bindMember(platform::Statement& statement, int place, const Record& record,
                const Column<Record, Member, form>& column) {
  bindValue<form>(statement, place, record.*column.member);
}

template <class Record>
Record readRecord(const platform::Statement& statement) {
  Record record;
  forEachColumn<Record>(
      [&]<class Member, TextForm form>(const Column<Record, Member, form>& column, int place) {
        readValue<form>(statement, place, record.*column.member);
      });
  return record;
}

/// "id, name, ...".
template <class Record>
std::string columnNames() {
  std::string names;
  forEachColumn<Record>(
      [&](const auto& column, int place) { names.append(place == 0 ? "" : ", ").append(column.name); });
  return names;
}

template <class Record>
std::string keyName() {
  return std::string(std::get<0>(Record::columns()).name);
}

}  // namespace detail

/// Changes that are saved together; see `ModelContext::save`. All throw `DatabaseError`.
class ModelChanges {
 public:
  explicit ModelChanges(platform::Database& database) : database_(database) {}

  /// Refused when a record of the same key is there.
  template <class Record>
  void insert(const Record& record) {
    auto statement = database_.prepare(insertion<Record>());
    detail::forEachColumn<Record>(
        [&](const auto& column, int place) { detail::bindMember(statement, place + 1, record, column); });
    statement.run();
  }

  /// Writes what differs between the two, and no more: what others changed in the meantime beside that stays.
  /// False when there is no such record any more.
  template <class Record>
  bool update(const Record& before, const Record& after) {
    const auto key = std::get<0>(Record::columns());
    // Where nothing differs, the key is set to what it is, which tells whether the record is there.
    auto assignments = std::string(key.name) + " = ?1";
    detail::forEachColumn<Record>([&](const auto& column, int place) {
      if (place > 0 && before.*column.member != after.*column.member)
        assignments += fmt::format(", {} = ?{}", column.name, place + 1);
    });
    auto statement = database_.prepare(
        fmt::format("UPDATE {} SET {} WHERE {} = ?1", Record::table, assignments, key.name));
    detail::forEachColumn<Record>([&](const auto& column, int place) {
      if (place == 0 || before.*column.member != after.*column.member)
        detail::bindMember(statement, place + 1, after, column);
    });
    statement.run();
    return database_.changedRows() == 1;
  }

  /// False when there is no such record.
  template <class Record>
  bool remove(const platform::UUID& id) {
    return removeWhere<Record>(detail::keyName<Record>(), id) == 1;
  }
  /// How many there were.
  template <class Record>
  std::int64_t removeAll(const platform::UUID& orgID) {
    return removeWhere<Record>("orgID", orgID);
  }

 private:
  /// The command for all records of a type, made once: fleets are written record by record.
  template <class Record>
  static const std::string& insertion() {
    static const std::string sql = [] {
      std::string places;
      detail::forEachColumn<Record>([&](const auto&, int place) { places += place == 0 ? "?" : ", ?"; });
      return fmt::format("INSERT INTO {} ({}) VALUES ({})", Record::table, detail::columnNames<Record>(),
                         places);
    }();
    return sql;
  }

  template <class Record>
  std::int64_t removeWhere(const std::string& column, const platform::UUID& value) {
    database_.prepare(fmt::format("DELETE FROM {} WHERE {} = ?", Record::table, column))
        .bindText(1, value.text())
        .run();
    return database_.changedRows();
  }

  platform::Database& database_;
};

/// One connection to the local database, through which records are read and changed; see `Records.h` for
/// them. What others have saved is seen at once, in this and in other processes.
///
/// For one thread at a time: give each thread a context of its own, or go through one executor. All throw
/// `DatabaseError`.
class ModelContext {
 public:
  explicit ModelContext(platform::Database database) : database_(std::move(database)) {}

  /// All, in the record's order.
  template <class Record>
  std::vector<Record> fetch() {
    std::vector<Record> records;
    read<Record>("", nullptr, [&](Record&& record) { records.push_back(std::move(record)); });
    return records;
  }
  /// Those of an organization.
  template <class Record>
  std::vector<Record> fetch(const platform::UUID& orgID) {
    std::vector<Record> records;
    forEach<Record>(orgID, [&](Record&& record) { records.push_back(std::move(record)); });
    return records;
  }
  /// The same one by one, so that not all are in memory. Requires: `body` changes nothing here.
  template <class Record, class Body>
  void forEach(const platform::UUID& orgID, const Body& body) {
    read<Record>("WHERE orgID = ? ", &orgID, body);
  }
  /// The one with this key.
  template <class Record>
  std::optional<Record> find(const platform::UUID& id) {
    std::optional<Record> found;
    read<Record>(fmt::format("WHERE {} = ? ", detail::keyName<Record>()), &id,
                 [&](Record&& record) { found = std::move(record); });
    return found;
  }

  /// The latest time in that column of an organization's records; nothing when there is no record.
  template <class Record>
  std::optional<platform::Date> latest(std::string_view column, const platform::UUID& orgID) {
    auto statement =
        database_.prepare(fmt::format("SELECT max({}) FROM {} WHERE orgID = ?", column, Record::table));
    statement.bindText(1, orgID.text()).step();
    std::optional<platform::Date> found;
    detail::readValue<TextForm::text>(statement, 0, found);
    return found;
  }

  /// Lets `body` make changes, then saves all of them in one step. When it throws, or when saving fails,
  /// nothing is changed. Nobody else can save meanwhile, so `body` must be quick.
  template <class Body>
  void save(const Body& body) {
    platform::Transaction transaction(database_);
    ModelChanges changes(database_);
    body(changes);
    transaction.commit();
  }

 private:
  template <class Record, class Body>
  void read(const std::string& condition, const platform::UUID* value, const Body& body) {
    auto statement =
        database_.prepare(fmt::format("SELECT {} FROM {} {}ORDER BY {}", detail::columnNames<Record>(),
                                      Record::table, condition, Record::order));
    if (value) statement.bindText(1, value->text());
    while (statement.step()) body(detail::readRecord<Record>(statement));
  }

  platform::Database database_;
};

}  // namespace jamf
