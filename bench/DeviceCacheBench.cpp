// Keeping 50,000 devices of an organization and reading them back, with the cache and with SQLite alone: the
// same table, the same bytes, nothing in between. Usage: DeviceCacheBench [folder]
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "JamfCore/OrgManagement/DeviceCache.h"
#include "JamfCore/Persistence/PersistenceController.h"
#include "JamfCore/Persistence/Records.h"
#include "bench/Measure.h"

namespace {

constexpr int count = 50'000;
constexpr int rounds = 5;

double peakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) * 1024 / 1e6;
}

jamf::Device device(int number) {
  jamf::Device made;
  made.id = std::to_string(number);
  auto& general = made.general.emplace();
  general.name = fmt::format("Mac of classroom {}", number);
  general.lastIpAddress = fmt::format("10.{}.{}.{}", number >> 16, (number >> 8) & 255, number & 255);
  general.lastContactTime = "2025-03-04T09:15:00.123Z";
  general.reportDate = "2025-03-04T09:14:00.456Z";
  general.platform = "Mac";
  general.assetTag = fmt::format("A{:06}", number);
  auto& hardware = made.hardware.emplace();
  hardware.serialNumber = fmt::format("C02{:07}", number);
  hardware.make = "Apple";
  hardware.model = "MacBook Air (13-inch, M2, 2022)";
  made.operatingSystem.emplace().version = "15.1.1";
  return made;
}

void require(bool isGood, const char* what) {
  if (isGood) return;
  fmt::print(stderr, "{} failed\n", what);
  std::exit(1);
}

/// Writes and reads the columns of one record each, as texts.
void bare(sqlite3* database, const std::string& orgID) {
  const auto run = [&](const char* sql) {
    require(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
  };
  sqlite3_stmt* statement = nullptr;
  run("BEGIN IMMEDIATE");
  run("DELETE FROM CachedDevice");
  require(sqlite3_prepare_v2(database, "INSERT INTO CachedDevice VALUES (?,?,?,?,?,?,?,?,?,?,?,?,?,?)", -1,
                             &statement, nullptr) == SQLITE_OK,
          "prepare");
  for (int i = 0; i < count; ++i) {
    const auto number = std::to_string(i);
    const std::vector<std::string> values{orgID + "." + number,
                                          orgID,
                                          number,
                                          "Mac of classroom " + number,
                                          "C020" + number,
                                          "Apple",
                                          "MacBook Air (13-inch, M2, 2022)",
                                          "15.1.1",
                                          "10.0.0." + number,
                                          "2025-03-04T09:15:00.123Z",
                                          "2025-03-04T09:14:00.456Z",
                                          "Mac",
                                          "A0" + number};
    int place = 0;
    for (const auto& value : values)
      sqlite3_bind_text(statement, ++place, value.data(), static_cast<int>(value.size()), SQLITE_TRANSIENT);
    sqlite3_bind_int64(statement, ++place, 1);
    require(sqlite3_step(statement) == SQLITE_DONE, "insert");
    sqlite3_reset(statement);
  }
  sqlite3_finalize(statement);
  run("COMMIT");
  require(sqlite3_prepare_v2(database, "SELECT * FROM CachedDevice ORDER BY rowid", -1, &statement,
                             nullptr) == SQLITE_OK,
          "prepare");
  std::vector<std::vector<std::string>> rows;
  while (sqlite3_step(statement) == SQLITE_ROW) {
    std::vector<std::string> row;
    for (int i = 0; i < 13; ++i)
      row.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(statement, i)));
    rows.push_back(std::move(row));
  }
  sqlite3_finalize(statement);
  require(rows.size() == count, "reading");
}

}  // namespace

int main(int argumentCount, char** arguments) {
  const std::filesystem::path parent = argumentCount > 1 ? arguments[1] : "/tmp";
  const auto folder = parent / fmt::format("orvik-devices-{}", getpid());
  const auto orgID = platform::UUID::random();
  const auto path = folder / "a.sqlite", barePath = folder / "b.sqlite";
  const auto context = jamf::PersistenceController::makeContainer(path);
  context->save([&](jamf::ModelChanges& changes) {
    changes.insert(jamf::JamfOrganization{orgID, "a", "", "", {}, {}, {}});
  });
  std::filesystem::copy_file(path, barePath);
  const jamf::DeviceCache cache(context);

  std::vector<double> ours, theirs;
  double memory = 0;
  for (int round = 0; round < rounds; ++round) {
    {
      std::vector<jamf::Device> devices;
      for (int i = 0; i < count; ++i) devices.push_back(device(i));
      double seconds = bench::secondsOf([&] { cache.store(devices, orgID); });
      devices = {};  // as who stores a fleet does: what comes next is read from the cache
      seconds += bench::secondsOf([&] { devices = cache.cachedDevices(orgID); });
      require(devices.size() == count, "reading");
      ours.push_back(seconds);
    }
    if (round == 0) memory = peakMegabytes();
    sqlite3* database = nullptr;
    require(sqlite3_open(barePath.c_str(), &database) == SQLITE_OK, "open");
    sqlite3_exec(database, "PRAGMA synchronous = FULL", nullptr, nullptr, nullptr);
    theirs.push_back(bench::secondsOf([&] { bare(database, orgID.text()); }));
    sqlite3_close(database);
  }
  const double seconds = bench::median(ours), bareSeconds = bench::median(theirs);
  std::filesystem::remove_all(folder);
  fmt::print(
      "{} devices stored and read back: {:.2f} s, {:.2f} times SQLite alone ({:.2f} s); limit 1 s; peak "
      "{:.0f} MB "
      "(limit 100)\n",
      count, seconds, seconds / bareSeconds, bareSeconds, memory);
}
