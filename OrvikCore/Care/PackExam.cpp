#include "OrvikCore/Care/PackExam.h"

#include <algorithm>
#include <memory>
#include <thread>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/PackStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Concurrency/TaskGroup.h"
#include "Platform/Files/Files.h"

namespace orvik {

namespace {

namespace files = platform::files;
using Entry = PackObjects::Entry;

constexpr std::size_t entriesPerBatch = 256;

struct Batch {
  std::vector<ObjectKey> damaged;
  std::vector<ObjectKey> notJSON;
  std::size_t sealed = 0;
  std::int64_t bytes = 0;
};

std::string pairOf(const std::string& index) {
  return index.substr(0, index.size() - BackupFormat::packIndexSuffix.size())
      .append(BackupFormat::packSuffix);
}

bool canBeRead(const PackRange& range, std::int64_t size) {
  return range.liesWithin(size) && range.length <= static_cast<std::int64_t>(BackupFormat::objectLimit);
}

std::size_t overlaps(const std::vector<Entry>& ascending) {
  std::size_t count = 0;
  std::int64_t end = 0;
  for (const auto& [key, range] : ascending) {
    if (range.length > 0 && range.offset < end) ++count;
    end = std::max(end, range.offset + range.length);
  }
  return count;
}

void readEntries(const std::vector<Entry>& chosen, const files::RangeReader& pack, const ContentProof& proof,
                 PackExam& exam, const std::stop_token& stop) {
  const std::size_t batches = (chosen.size() + entriesPerBatch - 1) / entriesPerBatch;
  const auto work = [&](std::size_t index, const std::stop_token& stopped) {
    Batch batch;
    platform::Bytes buffer;
    const auto end = std::min((index + 1) * entriesPerBatch, chosen.size());
    for (std::size_t i = index * entriesPerBatch; i < end; ++i) {
      platform::throwIfCancelled(stopped);
      const auto& [key, range] = chosen[i];
      if (!pack.read(range.offset, range.length, buffer)) {
        batch.damaged.push_back(key);
        continue;
      }
      batch.bytes += range.length;
      const auto [verdict, isJSON] = proof.judge(key.text(), buffer);
      if (verdict == ContentProof::Verdict::damaged) batch.damaged.push_back(key);
      if (verdict == ContentProof::Verdict::sealed) ++batch.sealed;
      if (!isJSON) batch.notJSON.push_back(key);
    }
    return batch;
  };
  const auto take = [&](std::size_t, Batch batch) {
    exam.damaged.insert(exam.damaged.end(), batch.damaged.begin(), batch.damaged.end());
    exam.notJSON.insert(exam.notJSON.end(), batch.notJSON.begin(), batch.notJSON.end());
    exam.sealed += batch.sealed;
    exam.bytesRead += batch.bytes;
  };
  platform::TaskGroup<Batch>::run(batches, std::thread::hardware_concurrency(), stop, work, take);
  exam.read = chosen.size();
  std::ranges::sort(exam.damaged);
}

void examine(PackObjects objects, const files::RangeReader& pack, const ContentProof& proof,
             const ContentShare& share, PackExam& exam, const std::stop_token& stop) {
  exam.packBytes = pack.size();
  exam.entries = objects.count();
  exam.foreign = objects.others.size();
  auto& entries = objects.entries;
  std::erase_if(entries, [&](const Entry& entry) {
    if (canBeRead(entry.range, pack.size())) return false;
    exam.outside.push_back(entry.key);
    return true;
  });
  std::ranges::sort(entries, {}, [](const Entry& entry) { return entry.range.offset; });
  exam.overlapping = overlaps(entries);
  if (!share.isAll()) std::erase_if(entries, [&](const Entry& entry) { return !share.contains(entry.key); });
  readEntries(entries, pack, proof, exam, stop);
}

}  // namespace

PackExam examinePack(const std::filesystem::path& index, const ContentProof& proof, const ContentShare& share,
                     const std::stop_token& stop) {
  PackExam exam;
  exam.index = index.filename().native();
  exam.pack = pairOf(exam.index);
  auto content = PackStore::readIndex(index);
  if (!content || !content->namesPlainFile()) {
    exam.state = files::exists(index) ? PackExam::State::indexUnreadable : PackExam::State::gone;
    return exam;
  }
  exam.pack = content->pack;
  exam.entries = content->objects.count();
  std::unique_ptr<files::RangeReader> pack;
  try {
    pack = std::make_unique<files::RangeReader>(index.parent_path() / content->pack);
  } catch (const files::FileError&) {
    exam.state = files::exists(index) ? PackExam::State::packMissing : PackExam::State::gone;
    return exam;
  }
  examine(std::move(content->objects), *pack, proof, share, exam, stop);
  return exam;
}

}  // namespace orvik
