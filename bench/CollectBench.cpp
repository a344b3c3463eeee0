// What collecting costs on top of reading: marking beside a bare read-and-parse loop over the same indexes,
// and look-ups while packs come one a second. Usage: CollectBench [folder] [backups] [items] [packs]
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <numeric>
#include <set>
#include <stdexcept>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackStore.h"
#include "OrvikCore/Store/References.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "Platform/JSON/View.h"
#include "bench/Measure.h"

using namespace orvik;
namespace files = platform::files;

namespace {

using Path = std::filesystem::path;

constexpr std::size_t itemsPerSection = 2500;
constexpr std::size_t objectsPerPack = 500;

struct Cost {
  double seconds = 0;
  long bytes = 0;  ///< peak memory
};

/// `work` in a process of its own, so that its memory is its own too.
Cost inChild(const std::function<void()>& work) {
  int ends[2];
  if (pipe(ends) != 0) throw std::runtime_error("pipe");
  const pid_t child = fork();
  if (child == 0) {
    const double seconds = bench::secondsOf(work);
    const bool told = write(ends[1], &seconds, sizeof seconds) == sizeof seconds;
    std::_Exit(told ? 0 : 1);
  }
  close(ends[1]);
  Cost cost;
  const bool told = read(ends[0], &cost.seconds, sizeof cost.seconds) == sizeof cost.seconds;
  close(ends[0]);
  int status = 0;
  rusage usage{};
  wait4(child, &status, 0, &usage);
  if (!told || status != 0) throw std::runtime_error("a part of the benchmark failed");
  cost.bytes = usage.ru_maxrss * 1024;
  return cost;
}

/// A name for the n-th object that ever was.
std::string nameOf(std::size_t number) { return ObjectStore::sha256(std::to_string(number)); }

std::string backupID(std::size_t number) {
  const auto first = platform::parseISO8601("2025-03-04T09:15:00Z").value();
  return BackupFormat::backupID(first + std::chrono::hours(24) * number);
}

/// Indexes alone: marking looks at nothing else. Each backup differs from the one before in the hundredth
/// part of its items.
void writeIndexes(const BackupRepository& repository, std::size_t backups, std::size_t items) {
  std::vector<SectionIndex> sections;
  std::size_t objects = 0;
  for (; objects < items; ++objects) {
    if (objects % itemsPerSection == 0) {
      sections.emplace_back().sectionID = fmt::format("section{:02}", sections.size());
      sections.back().title = "Section of the benchmark";
    }
    IndexItem item;
    item.id = std::to_string(objects);
    item.name = fmt::format("Managed - Lab {} Chemie", objects);
    item.objects["json"] = nameOf(objects);
    item.change = IndexItem::Change::unchanged;
    sections.back().items.push_back(std::move(item));
  }
  for (std::size_t backup = 0; backup < backups; ++backup) {
    for (std::size_t i = backup % 100; backup > 0 && i < items; i += 100)
      sections[i / itemsPerSection].items[i % itemsPerSection].objects["json"] = nameOf(objects++);
    for (const auto& section : sections)
      BackupRepository::writeIndex(
          section,
          repository.backupDirectory(backupID(backup)) / BackupFormat::sectionPath(section.sectionID),
          std::nullopt);
  }
}

std::vector<Path> indexesOf(const BackupRepository& repository) {
  std::vector<Path> found;
  for (const auto& backup : files::visibleNames(repository.backupsDirectory())) {
    const auto sections = repository.backupsDirectory() / backup / BackupFormat::sectionsFolder;
    for (const auto& name : files::visibleNames(sections)) found.push_back(sections / name);
  }
  return found;
}

template <class Parse>
void readAll(const std::vector<Path>& indexes, const Parse& parse) {
  platform::Bytes buffer;
  for (const auto& path : indexes) {
    files::read(path, buffer);
    parse(buffer);
  }
}

void mark(const BackupRepository& repository, const std::set<std::string>& without) {
  if (readReferences(repository, without).objects.contains(nameOf(1)) == false)
    throw std::runtime_error("a reference is missing");
}

void measureMarking(const Path& folder, std::size_t backups, std::size_t items) {
  const BackupRepository repository(folder);
  inChild([&] { writeIndexes(repository, backups, items); });
  const auto indexes = indexesOf(repository);
  std::uintmax_t bytes = 0;
  for (const auto& path : indexes) bytes += std::filesystem::file_size(path);
  std::set<std::string> newerHalf;
  for (std::size_t i = backups / 2; i < backups; ++i) newerHalf.insert(backupID(i));
  std::set<std::string> all = newerHalf;

  std::vector<double> owning, lent, marking, half;
  long peak = 0;
  for (int round = 0; round < 5; ++round) {
    owning.push_back(inChild([&] {
                       readAll(indexes, [](const auto& text) { platform::json::Document::parse(text); });
                     }).seconds);
    lent.push_back(inChild([&] {
                     readAll(indexes, [](const auto& text) {
                       platform::json::lookAt(text, [](platform::json::View) {});
                     });
                   }).seconds);
    const auto whole = inChild([&] { mark(repository, {}); });
    marking.push_back(whole.seconds);
    peak = std::max(peak, whole.bytes);
    half.push_back(inChild([&] { mark(repository, newerHalf); }).seconds);
  }
  const double bare = std::min(bench::median(owning), bench::median(lent));
  fmt::print(
      "marking {} backups of {} items, {:.0f} MB of indexes: {:.3f} s; bare read and parse {:.3f} s: {:.2f} "
      "times (at most 1.5); peak {:.1f} MB (below 150)\n",
      backups, items, static_cast<double>(bytes) / 1e6, bench::median(marking), bare,
      bench::median(marking) / bare, static_cast<double>(peak) / 1e6);
  fmt::print("marking {} of them: {:.3f} s; all by half {:.2f} (near 2)\n", backups / 2, bench::median(half),
             bench::median(marking) / bench::median(half));
}

/// Packs as another process would have made them, in a folder of their own.
void writePacks(const BackupRepository& other, const std::vector<std::vector<std::string>>& hashes) {
  for (std::size_t pack = 0; pack < hashes.size(); ++pack) {
    std::vector<PackStore::Source> sources;
    for (const auto& hash : hashes[pack]) sources.push_back({hash, other.store().objectURL(hash).native()});
    PackStore::write(sources, other.store(), fmt::format("loose-{:08}", pack), PackStore::SkipExisting::no);
  }
}

double nanosecondsOfLookUp(const std::vector<std::string>& hashes, const Path& packs) {
  constexpr int rounds = 200;
  const double seconds = bench::secondsOf([&] {
    for (int i = 0; i < rounds; ++i)
      for (const auto& hash : hashes)
        if (!PackCache::shared().contains(hash, packs))
          throw std::runtime_error("a packed object is missing");
  });
  return seconds * 1e9 / (rounds * static_cast<double>(hashes.size()));
}

/// Microseconds of the middle one of the ten values from `begin` on.
double medianOfTen(const std::vector<double>& seconds, std::size_t begin) {
  const auto first = seconds.begin() + static_cast<std::ptrdiff_t>(begin);
  return bench::median({first, first + 10}) * 1e6;
}

void measurePacks(const Path& folder, std::size_t count) {
  const BackupRepository repository(folder / "seen"), other(folder / "other");
  std::vector<std::vector<std::string>> hashes(count);
  for (std::size_t i = 0; i < count * objectsPerPack; ++i)
    hashes[i / objectsPerPack].push_back(other.store().put(fmt::format("{{\"id\":{}}}", i)));
  writePacks(other, hashes);

  const auto from = other.store().packsDirectory(), packs = repository.store().packsDirectory();
  files::createDirectories(packs);
  std::vector<double> refreshes, idle;
  double alone = 0;
  for (std::size_t i = 0; i < count; ++i) {
    const auto name = fmt::format("loose-{:08}", i);
    for (const char* ending : {".pack", ".idx"})
      files::rename(from / (name + ending), packs / (name + ending));
    platform::sleep(std::chrono::duration<double>(1.01), {});
    refreshes.push_back(bench::secondsOf([&] {
      if (!PackCache::shared().location(hashes[i].front(), packs))
        throw std::runtime_error("a new pack is missed");
    }));
    if (i == 0) alone = nanosecondsOfLookUp(hashes[0], packs);
  }
  const double together = nanosecondsOfLookUp(hashes[0], packs);
  fmt::print(
      "{} packs of {} objects, a new one each second: refresh and look-up {:.0f} us for the first ten, "
      "{:.0f} us for the last ten: {:.2f} times\n",
      count, objectsPerPack, medianOfTen(refreshes, 0), medianOfTen(refreshes, count - 10),
      medianOfTen(refreshes, count - 10) / medianOfTen(refreshes, 0));
  fmt::print("a look-up: {:.0f} ns with 1 pack, {:.0f} ns with {}\n", alone, together, count);
}

}  // namespace

int main(int count, char** arguments) {
  const auto number = [&](int place, std::size_t otherwise) {
    return count > place ? std::strtoul(arguments[place], nullptr, 10) : otherwise;
  };
  const Path parent = count > 1 ? arguments[1] : "/tmp";
  const std::size_t backups = number(2, 100), items = number(3, 50'000), packs = number(4, 100);
  const auto folder = parent / fmt::format("orvik-collect-{}", getpid());
  const auto needed = 400 * backups * items;
  if (std::filesystem::space(parent).available < needed) {
    fmt::print(stderr, "CollectBench: {} has less than {} MB free\n", parent.string(), needed / 1'000'000);
    return 1;
  }
  measureMarking(folder / "marking", backups, items);
  files::removeTree(folder);
  std::fflush(stdout);
  if (packs >= 20) measurePacks(folder / "packs", packs);
  files::removeTree(folder);
}
