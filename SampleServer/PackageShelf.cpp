#include "SampleServer/PackageShelf.h"

#include <fmt/format.h>

#include <algorithm>
#include <mutex>

#include "SampleServer/Draw.h"
#include "SampleServer/NamePools.h"

namespace sample {
namespace {

using platform::DigestAlgorithm;

/// A package unlike the others.
struct OddPackage {
  enum class Hash { right, wrong, none };

  std::size_t place;
  std::string_view fileName = {};  ///< empty: the package's name
  std::string_view hashType = "SHA_512";
  Hash hash = Hash::right;
  std::optional<std::string_view> size = {};
  bool offCloud = false;
  bool nowhere = false;
};

constexpr OddPackage odd[] = {
    {.place = 1, .hash = OddPackage::Hash::wrong},
    {.place = 2, .hashType = "SHA_256"},
    {.place = 3, .hashType = "MD5"},
    {.place = 4, .hashType = "SHA3_512"},
    {.place = 5, .hash = OddPackage::Hash::none, .size = ""},
    {.place = 6, .fileName = "Überblick & Extras 2.0.pkg"},
    {.place = 7, .fileName = "100% fertig #1 C++.pkg"},
    {.place = 8, .fileName = "Werkzeuge/Setup 3.1.pkg"},
    {.place = 9, .size = "234KB"},
    {.place = 10, .offCloud = true},
    {.place = 11, .offCloud = true, .nowhere = true},
    {.place = 13, .hash = OddPackage::Hash::none, .offCloud = true},
};
/// A package that names the file of the first one.
constexpr std::size_t twin = 12;
/// The one large file of a small fleet.
constexpr std::int64_t largeSize = 1'500'000;

OddPackage kindOf(std::size_t place) {
  const auto found =
      std::find_if(std::begin(odd), std::end(odd), [&](const OddPackage& o) { return o.place == place; });
  return found == std::end(odd) ? OddPackage{.place = place} : *found;
}

std::optional<DigestAlgorithm> algorithmOf(std::string_view hashType) {
  if (hashType == "MD5") return DigestAlgorithm::md5;
  if (hashType == "SHA_256") return DigestAlgorithm::sha256;
  if (hashType == "SHA_512") return DigestAlgorithm::sha512;
  return std::nullopt;
}

}  // namespace

std::string madeUpHash(std::uint64_t key, std::size_t digits) {
  std::string text;
  for (Draw draw(mix(key)); text.size() < digits;) text += fmt::format("{:016x}", draw.next());
  return text.substr(0, digits);
}

PackageShelf::PackageShelf(FleetSize size, std::uint64_t seed, std::size_t packages, std::size_t onCloud)
    : fleet_(size), seed_(seed) {
  files_.reserve(packages);
  packages_.reserve(packages);
  for (std::size_t i = 0; i < packages; ++i) addMadeUp(cloud_.size() < onCloud);
}

std::string PackageShelf::madeUpName(std::size_t package) const {
  const std::string_view name = kindOf(package).fileName;
  return name.empty() ? naming::package.name(seed_, package) : std::string(name);
}

std::int64_t PackageShelf::madeUpSize(std::size_t package) const {
  Draw draw(mix(seed_ + package));
  if (fleet_ != FleetSize::small) return static_cast<std::int64_t>(draw.between(1'000, 4'000));
  const auto usual = static_cast<std::int64_t>(draw.between(60'000, 140'000));
  return package == 0 ? largeSize + usual : usual;
}

std::size_t PackageShelf::addFile(std::string name, std::int64_t size, bool onShare) {
  const auto [entry, isNew] = numbers_.try_emplace(name, files_.size());
  if (isNew) {
    const std::uint64_t key = mix(seed_ ^ hashText(name));
    files_.push_back({std::move(name), size, onShare, key});
  }
  return entry->second;
}

void PackageShelf::addMadeUp(bool cloudHasRoom) {
  const std::size_t place = packages_.size();
  if (place == twin) {
    packages_.push_back({packages_[0].file, "SHA_512", {}, {}});
    return;
  }
  const OddPackage kind = kindOf(place);
  const bool onCloud = cloudHasRoom && !kind.offCloud;
  const bool onShare = !kind.nowhere && (!onCloud || place % 4 == 0);
  const std::size_t file = addFile(madeUpName(place), madeUpSize(place), onShare);
  Package package{file, std::string(kind.hashType), {}, {}};
  if (kind.hash == OddPackage::Hash::none) package.hashValue = "";
  if (kind.hash == OddPackage::Hash::wrong) package.hashValue = madeUpHash(files_[file].key + 1, 128);
  if (kind.size) package.size = std::string(*kind.size);
  packages_.push_back(std::move(package));
  if (onCloud) cloud_.push_back(file);
}

void PackageShelf::addPackage() {
  std::unique_lock lock(mutex_);
  addMadeUp(false);
}

bool PackageShelf::addPackage(const NewPackage& package) {
  std::unique_lock lock(mutex_);
  const std::size_t before = files_.size();
  const std::size_t file = addFile(package.fileName, package.size, package.onShare);
  packages_.push_back({file, package.hashType.value_or("SHA_512"), package.hashValue, {}});
  if (files_.size() == before || !package.onCloud) return false;
  cloud_.push_back(file);
  return true;
}

void PackageShelf::describe(std::size_t place, const std::string& fileName, const std::string& hashType,
                            const std::string& hashValue) {
  if (const auto known = place < packageCount() ? std::optional(claim(place)) : std::nullopt;
      known && known->fileName == fileName && known->hashType == hashType && known->hashValue == hashValue) {
    return;
  }
  std::unique_lock lock(mutex_);
  const std::size_t before = files_.size();
  const std::size_t file = addFile(fileName, 0, false);
  if (files_.size() > before) files_[file].isNowhere = true;
  // Without a digest to claim, the package has the one of its file.
  const auto claimed = hashValue.empty() ? std::nullopt : std::optional(hashValue);
  Package package{file, hashType.empty() ? "SHA_512" : hashType, claimed, {}};
  if (place < packages_.size()) {
    packages_[place] = std::move(package);
  } else {
    packages_.push_back(std::move(package));
  }
}

bool PackageShelf::store(std::size_t place, std::string fileName, platform::Bytes content) {
  auto stored = std::make_shared<const platform::Bytes>(std::move(content));
  std::unique_lock lock(mutex_);
  const std::size_t number = addFile(std::move(fileName), 0, false);
  File& file = files_[number];
  file.size = static_cast<std::int64_t>(stored->size());
  file.stored = std::move(stored);
  file.isNowhere = false;
  ++file.revision;
  file.digests.clear();
  packages_.at(place) = {number, "SHA_512", {}, {}};
  if (std::find(cloud_.begin(), cloud_.end(), number) != cloud_.end()) return false;
  cloud_.push_back(number);
  return true;
}

std::size_t PackageShelf::packageCount() const {
  std::shared_lock lock(mutex_);
  return packages_.size();
}

const PackageShelf::File* PackageShelf::find(std::string_view fileName) const {
  const auto found = numbers_.find(fileName);
  return found == numbers_.end() ? nullptr : &files_[found->second];
}

FileContent PackageShelf::contentOf(const File& file) {
  return {mix(file.key + file.revision), file.size, file.stored};
}

std::optional<std::string> PackageShelf::sizeText(const Package& package, const File& file) const {
  switch (sizeShape_) {
    case PackageSizeShape::digits:
      return std::to_string(file.size);
    case PackageSizeShape::empty:
      return "";
    case PackageSizeShape::unit:
      return fmt::format("{}KB", file.size / 1000);
    case PackageSizeShape::null:
      return std::nullopt;
    case PackageSizeShape::mixed:
      break;
  }
  return package.size.value_or(file.isNowhere ? std::string() : std::to_string(file.size));
}

PackageClaim PackageShelf::claim(std::size_t place) const {
  PackageClaim claim;
  std::optional<std::string> value;
  FileContent content;
  {
    std::shared_lock lock(mutex_);
    const Package& package = packages_.at(place);
    const File& file = files_[package.file];
    claim = {file.name, package.hashType, {}, sizeText(package, file)};
    value = package.hashValue;
    if (!value && file.isNowhere) value = "";
    content = contentOf(file);
  }
  const auto algorithm = algorithmOf(claim.hashType);
  if (value) {
    claim.hashValue = *value;
  } else {
    claim.hashValue = algorithm ? *digest(claim.fileName, *algorithm) : madeUpHash(content.key, 128);
  }
  return claim;
}

std::string PackageShelf::fileName(std::size_t package) const {
  std::shared_lock lock(mutex_);
  return files_[packages_.at(package).file].name;
}

std::string PackageShelf::cloudFileName(std::size_t cloudFile) const {
  std::shared_lock lock(mutex_);
  return files_[cloud_.at(cloudFile)].name;
}

std::optional<std::size_t> PackageShelf::cloudFile(std::string_view fileName) const {
  std::shared_lock lock(mutex_);
  const auto number = numbers_.find(fileName);
  if (number == numbers_.end()) return std::nullopt;
  const auto found = std::find(cloud_.begin(), cloud_.end(), number->second);
  if (found == cloud_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - cloud_.begin());
}

std::optional<ShelvedFile> PackageShelf::file(std::string_view fileName) const {
  std::shared_lock lock(mutex_);
  const File* file = find(fileName);
  if (!file) return std::nullopt;
  return ShelvedFile{file->name, file->onShare, file->revision, contentOf(*file)};
}

bool PackageShelf::change(std::string_view fileName) {
  std::unique_lock lock(mutex_);
  const auto found = numbers_.find(fileName);
  if (found == numbers_.end()) return false;
  File& file = files_[found->second];
  ++file.revision;
  file.stored.reset();
  file.digests.clear();
  return true;
}

std::optional<std::string> PackageShelf::digest(std::string_view fileName, DigestAlgorithm algorithm) const {
  FileContent content;
  {
    std::shared_lock lock(mutex_);
    const File* file = find(fileName);
    if (!file) return std::nullopt;
    if (const auto known = file->digests.find(algorithm); known != file->digests.end()) return known->second;
    content = contentOf(*file);
  }
  // Without the lock, since a large file takes seconds.
  std::string made = content.digest(algorithm);
  std::unique_lock lock(mutex_);
  const File* file = find(fileName);
  if (file && contentOf(*file).key == content.key) file->digests[algorithm] = made;
  return made;
}

}  // namespace sample
