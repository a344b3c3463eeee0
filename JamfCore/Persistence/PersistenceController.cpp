#include "JamfCore/Persistence/PersistenceController.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "Platform/Date.h"
#include "Platform/Files/Files.h"

namespace jamf {

namespace {

using platform::Database;

/// What brings a database to a version. Once released it never changes: records that gain a column get one
/// more of these.
struct Migration {
  std::string_view version;
  const char* sql;
};

constexpr std::array<Migration, 1> migrations{{{PersistenceController::schemaVersion, R"(
CREATE TABLE JamfOrganization (
  id TEXT NOT NULL PRIMARY KEY,
  name TEXT NOT NULL,
  baseURLString TEXT NOT NULL,
  clientID TEXT NOT NULL,
  createdAt INTEGER NOT NULL,
  lastUsedAt INTEGER,
  clientName TEXT
) STRICT;

CREATE TABLE PlaybookRecord (
  id TEXT NOT NULL PRIMARY KEY,
  orgID TEXT NOT NULL,
  name TEXT NOT NULL,
  yamlSource TEXT NOT NULL,
  nextRunAt INTEGER,
  lastRunAt INTEGER,
  lastRunSummary TEXT,
  lastRunSucceeded INTEGER,
  createdAt INTEGER NOT NULL,
  scheduleEnabled INTEGER NOT NULL
) STRICT;
CREATE INDEX PlaybookRecord_orgID ON PlaybookRecord (orgID);

CREATE TABLE BackupScheduleRecord (
  id TEXT NOT NULL PRIMARY KEY,
  orgID TEXT NOT NULL,
  destinationBookmark BLOB NOT NULL,
  destinationDisplayPath TEXT NOT NULL,
  scheduleJSON TEXT NOT NULL,
  nextRunAt INTEGER,
  lastRunAt INTEGER,
  lastRunSummary TEXT,
  lastRunSucceeded INTEGER,
  createdAt INTEGER NOT NULL,
  scheduleEnabled INTEGER NOT NULL
) STRICT;
CREATE INDEX BackupScheduleRecord_orgID ON BackupScheduleRecord (orgID);

CREATE TABLE CachedDevice (
  cacheKey TEXT NOT NULL PRIMARY KEY,
  orgID TEXT NOT NULL REFERENCES JamfOrganization (id) ON DELETE CASCADE,
  deviceID TEXT NOT NULL,
  name TEXT NOT NULL,
  serialNumber TEXT,
  make TEXT,
  model TEXT,
  osVersion TEXT,
  lastIpAddress TEXT,
  lastContactTime TEXT,
  reportDate TEXT,
  platform TEXT,
  assetTag TEXT,
  cachedAt INTEGER NOT NULL
) STRICT;
CREATE INDEX CachedDevice_orgID ON CachedDevice (orgID);
)"}}};

std::vector<std::string> appliedVersions(Database& database) {
  std::vector<std::string> versions;
  auto statement = database.prepare("SELECT version FROM SchemaMigration ORDER BY rowid");
  while (statement.step()) versions.emplace_back(statement.text(0));
  return versions;
}

bool contains(const std::vector<std::string>& versions, std::string_view version) {
  return std::ranges::find(versions, version) != versions.end();
}

/// Applies what is missing. Requires: the table of migrations is there.
void migrate(Database& database) {
  platform::Transaction transaction(database);
  const auto applied = appliedVersions(database);
  for (const auto& each : migrations) {
    if (contains(applied, each.version)) continue;
    database.run(each.sql);
    database.prepare("INSERT INTO SchemaMigration (version, appliedAt) VALUES (?, ?)")
        .bindText(1, each.version)
        .bindInteger(2, platform::now().time_since_epoch().count())
        .run();
  }
  transaction.commit();
}

void fill(Database& database) {
  database.run(
      "CREATE TABLE SchemaMigration (version TEXT NOT NULL PRIMARY KEY, appliedAt INTEGER NOT NULL) STRICT");
  migrate(database);
}

void requireKnownSchema(Database& database) {
  for (const auto& version : appliedVersions(database))
    if (std::ranges::find(migrations, version, &Migration::version) == migrations.end())
      throw platform::DatabaseError(
          platform::DatabaseErrorKind::other,
          fmt::format("The database {} has the schema {} of a newer release; this one knows none beyond {}.",
                      database.path().string(), version, PersistenceController::schemaVersion));
}

}  // namespace

std::shared_ptr<ModelContext> PersistenceController::makeContainer(const std::filesystem::path& path) try {
  if (!platform::files::exists(path)) Database::create(path, applicationID, fill);
  auto database = Database::open(path, applicationID, requireKnownSchema);
  if (appliedVersions(database).size() < migrations.size()) migrate(database);
  return std::make_shared<ModelContext>(std::move(database));
} catch (const tuv::Error& error) {
  throw PersistenceError(error.description());
}

}  // namespace jamf
