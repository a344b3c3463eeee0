#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <vector>

#include "SampleServer/FileContent.h"
#include "SampleServer/FleetSize.h"

namespace sample {

/// A file that packages name, and where it can be had.
struct PackageFile {
  std::string fileName;
  std::int64_t size = 0;  ///< bytes
  bool onCloud = false;   ///< the cloud lists it and hands out URLs for it
  bool onShare = false;   ///< it lies on the file share, which the HTTP distribution points serve too
};

/// A package to add, with its file. A file of that name that is there already stays as it is, and the new
/// package is another one that names it.
struct NewPackage {
  std::string fileName;
  std::int64_t size = 0;
  bool onCloud = true;
  bool onShare = false;
  /// What the record says. Without a type it is "SHA_512"; without a value it is the right one for MD5,
  /// SHA_256 and SHA_512, taken from the whole content when the record is first asked for.
  std::optional<std::string> hashType = {};
  std::optional<std::string> hashValue = {};
};

/// A file as it is now.
struct ShelvedFile {
  std::string name;
  bool onShare;
  unsigned revision;  ///< how often its content was replaced
  FileContent content;
};

/// What a package's record says of its file.
struct PackageClaim {
  std::string fileName;
  std::string hashType;
  std::string hashValue;
  /// Text, as servers write it: digits, nothing, or "234KB". Nothing where it is null.
  std::optional<std::string> size;
};

/// How a package's record tells the size of its file.
enum class PackageSizeShape {
  mixed,   ///< each package in its own way, as servers have them
  digits,  ///< "412345678"
  empty,   ///< ""
  unit,    ///< "234KB"
  null,
};

/// So many hexadecimal digits that are no digest of anything. They stand for SHA-3, which this system does
/// not compute.
std::string madeUpHash(std::uint64_t key, std::size_t digits);

/// The files behind the packages. Packages and the cloud's files are named by their places in their sections,
/// removed ones included. Any thread may call.
///
/// The first packages are the odd ones that servers have: wrong, old, unknown and missing hashes, file names
/// that need care in a URL, a file that two packages name, a file that is nowhere.
class PackageShelf {
 public:
  PackageShelf(FleetSize size, std::uint64_t seed, std::size_t packages, std::size_t onCloud);

  /// A package at the next place, with a file on the share.
  void addPackage();
  /// True when its file is new and stands at the next place of the cloud.
  bool addPackage(const NewPackage& package);

  /// Lets a package name a file, which need not be anywhere yet, and claim another digest of it than before.
  /// The package at the place behind the last one is a new one.
  void describe(std::size_t package, const std::string& fileName, const std::string& hashType,
                const std::string& hashValue);
  /// Gives the package a file of that name with these bytes, in place of one that is there, and right
  /// digests. True when the file now stands at the next place of the cloud.
  bool store(std::size_t package, std::string fileName, platform::Bytes content);

  void setSizeShape(PackageSizeShape shape) { sizeShape_ = shape; }

  PackageClaim claim(std::size_t package) const;
  std::string fileName(std::size_t package) const;
  std::string cloudFileName(std::size_t cloudFile) const;
  /// The place of a file among those of the cloud.
  std::optional<std::size_t> cloudFile(std::string_view fileName) const;
  std::optional<ShelvedFile> file(std::string_view fileName) const;
  /// Made-up content of the same size with other bytes. False for an unknown file.
  bool change(std::string_view fileName);

  /// The digest of the present content as hexadecimal text, worked out once. Nothing for an unknown file.
  std::optional<std::string> digest(std::string_view fileName, platform::DigestAlgorithm algorithm) const;

 private:
  struct File {
    std::string name;
    std::int64_t size;
    bool onShare;
    std::uint64_t key;
    unsigned revision = 0;
    std::shared_ptr<const platform::Bytes> stored = {};
    bool isNowhere = false;                                                 // only named so far
    mutable std::map<platform::DigestAlgorithm, std::string> digests = {};  // of that revision
  };
  struct Package {
    std::size_t file;
    std::string hashType;
    std::optional<std::string> hashValue;  // absent: the right one
    std::optional<std::string> size;       // absent: the right one
  };

  std::string madeUpName(std::size_t package) const;
  std::int64_t madeUpSize(std::size_t package) const;
  std::size_t addFile(std::string name, std::int64_t size, bool onShare);
  void addMadeUp(bool cloudHasRoom);
  const File* find(std::string_view fileName) const;
  static FileContent contentOf(const File& file);
  std::optional<std::string> sizeText(const Package& package, const File& file) const;
  std::size_t packageCount() const;

  // Constant after construction.
  const FleetSize fleet_;
  const std::uint64_t seed_;

  std::atomic<PackageSizeShape> sizeShape_ = PackageSizeShape::mixed;  // synchronises itself

  mutable std::shared_mutex mutex_;  // guards what follows
  std::vector<File> files_;
  std::map<std::string, std::size_t, std::less<>> numbers_;  // of files, by name
  std::vector<Package> packages_;
  std::vector<std::size_t> cloud_;  // files, by their place there
};

}  // namespace sample
