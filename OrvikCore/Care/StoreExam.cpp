#include "OrvikCore/Care/StoreExam.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/FileHasher.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Concurrency/TaskGroup.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

namespace files = platform::files;
using Kind = Finding::Kind;
using Path = std::filesystem::path;
using Stored = StoreExam::Stored;

constexpr std::size_t objectsPerBatch = 64;

enum class State { intact, gone, damaged, unreadable, sealed };

/// What reading one single file gave.
struct Look {
  std::size_t position = 0;
  State state = State::intact;
  bool isJSON = true;
  std::int64_t bytes = 0;
  std::string problem;  ///< of one that can't be read: a sentence
};

class Examiner {
 public:
  Examiner(const BackupRepository& repository, const ContentProof& proof, const CareProgress& progress,
           const std::stop_token& stop)
      : store_(repository.store()), proof_(proof), progress_(progress), stop_(stop) {}

  StoreExam run(const Reading& reading) {
    progress_.step("Listing the store");
    listSingles(BackupFormat::objectsFolder, BackupFormat::objectSuffix, exam_.objects);
    listSingles(BackupFormat::filesFolder, "", exam_.files);
    for (const auto& object : exam_.objects)
      if (object.bytes > 0 || object.key == emptyContentKey()) exam_.held.insert(object.key);
    const auto objects = objectShare(reading);
    exam_.share = std::holds_alternative<Reading::Objects>(reading.what) ? ContentShare::none() : objects;
    examineObjects(objects);
    examinePacks(objects);
    examineFiles();
    return std::move(exam_);
  }

 private:
  Path folder(std::string_view name) const {
    return store_.instanceDirectory / BackupFormat::storeFolder / name;
  }
  static std::string below(std::string_view name) {
    return (Path(BackupFormat::storeFolder) / name).native();
  }
  void add(Kind kind, std::string path, std::string text, std::optional<ObjectKey> object = {}) {
    exam_.findings.push_back({kind, std::move(path), std::move(text), {}, object});
  }

  /// The visible names of a folder; what can't be listed is told, unless it isn't there.
  std::vector<std::string> namesIn(const std::string& path) {
    return listedNames(store_.instanceDirectory, path, exam_.findings);
  }

  void listSingles(std::string_view name, std::string_view suffix, std::vector<Stored>& found) {
    for (const auto& shard : namesIn(below(name))) {
      platform::throwIfCancelled(stop_);
      const auto path = below(name) + "/" + shard;
      if (files::isDirectory(store_.instanceDirectory / path))
        for (const auto& file : namesIn(path)) listSingle(name, shard, file, suffix, found);
      else
        add(Kind::stray, path, "Something stands here that is no folder of the store.");
    }
  }

  void listSingle(std::string_view name, const std::string& shard, const std::string& file,
                  std::string_view suffix, std::vector<Stored>& found) {
    const bool hasSuffix = file.ends_with(suffix);
    const auto stem = std::string_view(file).substr(0, file.size() - (hasSuffix ? suffix.size() : 0));
    const auto key =
        hasSuffix && stem.starts_with(shard) && shard.size() == 2 ? ObjectKey::parse(stem) : std::nullopt;
    const auto size = files::size(folder(name) / shard / file);
    if (key && size) return found.push_back({*key, *size});
    if (!files::exists(folder(name) / shard / file)) return;  // moved into a pack just now
    add(Kind::stray, fmt::format("{}/{}/{}", below(name), shard, file),
        key ? "No file stands here, but something else, so that nothing can be read or stored under this "
              "name."
            : "The name is none that the store gives, so nobody reads this.");
  }

  ContentShare objectShare(const Reading& reading) const {
    if (const auto* share = std::get_if<ContentShare>(&reading.what)) return *share;
    if (const auto* budget = std::get_if<Reading::Budget>(&reading.what)) return shareOf(*budget);
    return ContentShare::all();
  }

  /// The stretch whose content takes that many bytes.
  ContentShare shareOf(const Reading::Budget& budget) const {
    std::vector<std::pair<ContentShare::Place, std::int64_t>> sizes;  // places count from the budget's begin
    const auto take = [&](const ObjectKey& key, std::int64_t bytes) {
      sizes.emplace_back(ContentShare::placeOf(key) - budget.begin, std::max<std::int64_t>(bytes, 0));
    };
    for (const auto* singles : {&exam_.objects, &exam_.files})
      for (const auto& [key, bytes] : *singles) take(key, bytes);
    PackStore::indexes(store_.packsDirectory(), [&](const Path&, const PackIndex& index) {
      for (const auto& [key, range] : index.objects.entries) take(key, range.length);
    });
    std::ranges::sort(sizes);
    std::int64_t left = budget.bytes;
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      const auto [place, bytes] = sizes[i];
      const bool isFurther = i > 0 && place != sizes[i - 1].first;
      if (isFurther && bytes > left) return ContentShare::between(budget.begin, budget.begin + place);
      left = std::max<std::int64_t>(left - bytes, 0);
    }
    return ContentShare::all();
  }

  void examineObjects(const ContentShare& share) {
    progress_.step("Reading single objects");
    const auto& all = exam_.objects;
    const auto look = [&](std::size_t batch, const std::stop_token& stop) {
      std::vector<Look> looks;
      platform::Bytes buffer;
      const auto end = std::min((batch + 1) * objectsPerBatch, all.size());
      for (std::size_t i = batch * objectsPerBatch; i < end; ++i) {
        platform::throwIfCancelled(stop);
        if (share.contains(all[i].key)) looks.push_back(lookAtObject(i, buffer));
      }
      return looks;
    };
    const auto batches = (all.size() + objectsPerBatch - 1) / objectsPerBatch;
    std::vector<Look> odd;
    std::size_t done = 0;
    const auto take = [&](std::size_t, std::vector<Look> looks) {
      for (auto& each : looks) {
        exam_.bytesRead += each.bytes;
        ++exam_.objectsRead;
        if (each.state == State::sealed) ++exam_.sealed;
        if (!each.isJSON) exam_.notJSON.insert(all[each.position].key);
        if (each.state != State::intact && each.state != State::sealed) odd.push_back(std::move(each));
      }
      progress_.count(++done, batches);
    };
    platform::TaskGroup<std::vector<Look>>::run(batches, std::thread::hardware_concurrency(), stop_, look,
                                                take);
    for (std::size_t i = 0; i < all.size(); ++i)
      if (all[i].bytes == 0 && all[i].key != emptyContentKey() && !share.contains(all[i].key))
        odd.push_back({i, State::damaged, true, 0, {}});
    std::ranges::sort(odd, {}, &Look::position);
    for (const auto& each : odd) tellObject(each);
  }

  Look lookAtObject(std::size_t position, platform::Bytes& buffer) const {
    const auto name = exam_.objects[position].key.text();
    const auto path = store_.objectURL(name);
    try {
      files::read(path, buffer, BackupFormat::objectLimit);
    } catch (const files::FileError& error) {
      return {position, files::exists(path) ? State::unreadable : State::gone, true, 0, error.description()};
    }
    const auto [verdict, isJSON] = proof_.judge(name, buffer);
    const auto state = verdict == ContentProof::Verdict::intact    ? State::intact
                       : verdict == ContentProof::Verdict::damaged ? State::damaged
                                                                   : State::sealed;
    return {position, state, isJSON, static_cast<std::int64_t>(buffer.size()), {}};
  }

  void tellObject(const Look& look) {
    const auto& [key, bytes] = exam_.objects[look.position];
    if (look.state == State::gone) return;
    exam_.bad.insert(key);
    auto path = BackupFormat::objectPathText(key.text());
    if (look.state == State::unreadable)
      add(Kind::objectUnreadable, std::move(path), look.problem + ".");
    else if (bytes == 0)
      add(Kind::objectEmpty, std::move(path), "The object's file is empty.");
    else
      add(Kind::objectDamaged, std::move(path), "What the object's file holds doesn't reproduce its name.");
  }

  void examinePacks(const ContentShare& share) {
    progress_.step("Reading packs");
    namesIn(below(BackupFormat::packsFolder));  // to be told of one that can't be listed
    const auto names = PackStore::indexNames(store_.packsDirectory());
    for (std::size_t i = 0; i < names.size(); ++i) {
      auto exam = examinePack(store_.packsDirectory() / names[i], proof_, share, stop_);
      if (exam.state == PackExam::State::gone) continue;
      exam_.objectsRead += exam.read;
      exam_.sealed += exam.sealed;
      exam_.bytesRead += exam.bytesRead;
      for (const auto& key : exam.damaged) exam_.bad.insert(key);
      for (const auto& key : exam.notJSON) exam_.notJSON.insert(key);
      tellPack(exam);
      exam_.packs.push_back(std::move(exam));
      progress_.count(i + 1, names.size());
    }
  }

  void tellPack(const PackExam& exam) {
    const auto folder = below(BackupFormat::packsFolder) + "/";
    const auto index = folder + exam.index;
    const auto pack = folder + exam.pack;
    if (exam.state == PackExam::State::indexUnreadable)
      return add(Kind::packIndexUnreadable, index,
                 "The index of the pack can't be read, so nobody finds what the pack holds.");
    if (exam.state == PackExam::State::packMissing)
      return add(Kind::indexWithoutPack, index,
                 fmt::format("The pack {} that the index names is missing or can't be opened.", exam.pack));
    if (exam.foreign != 0)
      add(Kind::packIndexOdd, index,
          fmt::format("Entries under names that no object can have: {} of {}.", exam.foreign, exam.entries));
    if (exam.overlapping != 0)
      add(Kind::packIndexOdd, index,
          fmt::format("Entries that overlap with another: {} of {}.", exam.overlapping, exam.entries));
    if (!exam.outside.empty())
      add(Kind::packCut, pack,
          fmt::format("Entries that lie outside the file of {} bytes: {} of {}.", exam.packBytes,
                      exam.outside.size(), exam.entries));
    if (exam.damaged.empty()) return;
    add(Kind::packDamaged, pack,
        fmt::format("Entries that don't reproduce their names or can't be read: {} of {}.",
                    exam.damaged.size(), exam.entries));
    for (const auto& key : exam.damaged)
      add(Kind::objectDamaged, pack, fmt::format("The object {} in this pack is damaged.", key.text()), key);
  }

  void examineFiles() {
    progress_.step("Reading package files");
    const auto& all = exam_.files;
    std::vector<Look> odd;
    std::size_t done = 0;
    const auto look = [&](std::size_t i, const std::stop_token& stop) { return lookAtFile(i, stop); };
    const auto take = [&](std::size_t, Look each) {
      exam_.bytesRead += each.bytes;
      if (exam_.share.contains(all[each.position].key)) ++exam_.filesRead;
      if (each.state != State::intact) odd.push_back(std::move(each));
      progress_.count(++done, all.size());
    };
    platform::TaskGroup<Look>::run(all.size(), std::thread::hardware_concurrency(), stop_, look, take);
    std::ranges::sort(odd, {}, &Look::position);
    for (const auto& each : odd) tellFile(each);
  }

  Look lookAtFile(std::size_t position, const std::stop_token& stop) const {
    const auto& [key, bytes] = exam_.files[position];
    const auto empty = bytes == 0 && key != emptyContentKey();
    if (!exam_.share.contains(key)) return {position, empty ? State::damaged : State::intact, true, 0, {}};
    const auto name = key.text();
    const auto path = store_.fileURL(name);
    try {
      const bool isIntact = FileHasher::sha256(path, FileHasher::defaultChunkSize, stop) == name;
      return {position, isIntact ? State::intact : State::damaged, true, bytes, {}};
    } catch (const files::FileError& error) {
      return {position, files::exists(path) ? State::unreadable : State::gone, true, 0, error.description()};
    }
  }

  void tellFile(const Look& look) {
    const auto& [key, bytes] = exam_.files[look.position];
    if (look.state == State::gone) return;
    exam_.badFiles.insert(key);
    auto path = BackupFormat::filePath(key.text()).native();
    if (look.state == State::unreadable)
      add(Kind::fileUnreadable, std::move(path), look.problem + ".");
    else
      add(Kind::fileDamaged, std::move(path),
          bytes == 0 ? "The package file is empty."
                     : "What the package file holds doesn't reproduce its name.");
  }

  const ObjectStore store_;
  const ContentProof& proof_;
  const CareProgress& progress_;
  const std::stop_token& stop_;
  StoreExam exam_;
};

}  // namespace

const ObjectKey& emptyContentKey() {
  static const ObjectKey key = *ObjectKey::parse(platform::sha256Hex(""));
  return key;
}

StoreExam examineStore(const BackupRepository& repository, const ContentProof& proof, const Reading& reading,
                       const CareProgress& progress, const std::stop_token& stop) {
  return Examiner(repository, proof, progress, stop).run(reading);
}

}  // namespace orvik
