#include "OrvikCore/Store/PackWriter.h"

#include <algorithm>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackStore.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace files = platform::files;

namespace {

std::filesystem::path made(const std::filesystem::path& folder) {
  files::createDirectories(folder);
  return folder;
}

std::filesystem::path fileOf(const std::filesystem::path& packs, const std::string& name,
                             std::string_view suffix) {
  return packs / (name + std::string(suffix));
}

}  // namespace

PackWriter::PackWriter(ObjectStore store, const std::string& name)
    : store_(std::move(store)),
      packs_(made(store_.packsDirectory())),
      name_(name),
      file_(fileOf(packs_, name, BackupFormat::packSuffix)) {}

bool PackWriter::wants(std::string_view hash) const noexcept {
  const auto key = ObjectKey::parse(hash);
  return key && !keys_.contains(*key);
}

bool PackWriter::isIntact(std::string_view hash, std::string_view stored) {
  // Asked for once: a keychain is not asked again for each object of a folder that nobody can open.
  if (BackupCipher::isSealed(stored) && !store_.cipher) {
    if (!std::exchange(askedForCipher_, true))
      store_.cipher = BackupEncryption::cipherFor(store_.instanceDirectory);
    if (!store_.cipher) return false;
  }
  return store_.isIntact(hash, stored);
}

bool PackWriter::add(std::string_view hash, std::string_view stored) {
  const auto key = ObjectKey::parse(hash);
  if (!key || keys_.contains(*key) || !isIntact(hash, stored)) return false;
  const auto offset = file_.size();
  file_.append(stored);
  entries_.push_back({*key, {offset, static_cast<std::int64_t>(stored.size()), true}});
  keys_.insert(*key);
  return true;
}

KeySet PackWriter::finish() {
  file_.append({});  // refuses after a failure, also where nothing would be written
  if (entries_.empty()) return {};
  const auto pack = fileOf(packs_, name_, BackupFormat::packSuffix);
  const auto index = fileOf(packs_, name_, BackupFormat::packIndexSuffix);
  file_.publish();
  try {
    publishIndex();
    files::syncFolder(packs_);
    files::syncFolder(packs_.parent_path());  // this one and the next, since the packs folder may be new
    files::syncFolder(store_.instanceDirectory);
  } catch (...) {
    files::tryRemove(index);
    files::tryRemove(pack);
    PackCache::shared().invalidate(packs_);
    throw;
  }
  PackCache::shared().invalidate(packs_);
  return std::move(keys_);
}

void PackWriter::publishIndex() {
  std::ranges::sort(entries_, {}, &PackObjects::Entry::key);
  PackIndex index;
  index.pack = name_ + std::string(BackupFormat::packSuffix);
  index.objects.entries = std::move(entries_);
  const auto text = BackupFormat::makeLineEncoder().encode(index);
  if (text.size() > BackupFormat::indexLimit)
    throw tuv::Error("The pack " + index.pack + " would hold too many objects for one index.");
  // From here on the single files may go: what would be read must be what was meant.
  if (!index.readsBackFrom(text))
    throw tuv::Error("The index of the pack " + index.pack + " doesn't read back as it was written.");
  files::atomicWrite(text, fileOf(packs_, name_, BackupFormat::packIndexSuffix), files::Flush::yes);
}

}  // namespace orvik
