#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>

#include "OrvikCore/Security/BackupCipher.h"
#include "OrvikCore/Store/PackLocation.h"
#include "Platform/Bytes.h"

namespace orvik {

/// The content-addressed store of one instance folder: every server object is kept once, under a name
/// computed from its content.
///
/// On disk: "store/objects/<xx>/<hash>.json", <hash> being 64 lower-case hexadecimal digits and <xx> its
/// first two; "store/files/<xx>/<sha256>" for package files. Objects are looked up in the overlay's loose
/// files, the instance folder's loose files, then in packs (PackStore.h), through `PackCache::shared`. A name
/// that is not 64 lower-case digits is missing, and never a path.
///
/// A plain copyable value without mutable state: any thread may call, also for the same object at once.
struct ObjectStore {
  using Path = std::filesystem::path;
  using Bytes = platform::Bytes;

  Path instanceDirectory;
  std::optional<Path> overlay;         ///< an instance-shaped folder that new objects go to instead
  std::optional<BackupCipher> cipher;  ///< when present, objects are sealed and named by a keyed hash

  enum class IncludingOverlay { no, yes };

  /// The canonical form of JSON bytes; nothing when they are not JSON.
  static std::optional<Bytes> canonicalJSON(const Bytes& data);

  /// Lower-case hexadecimal SHA-256.
  static std::string sha256(std::string_view data);

  /// Stores an object and returns its name. JSON is stored in canonical form, anything else verbatim; an
  /// object that the store has already is not written again. The name is the SHA-256 of the plain canonical
  /// bytes, or with a cipher their hidden name. Throws `platform::files::FileError`, or the cipher's error;
  /// the store is as before then.
  std::string put(const Bytes& data) const { return store(data).name; }

  struct Stored {
    std::string name;
    bool isJSON = false;  ///< false: kept verbatim
  };
  /// The same, and what it took the bytes for.
  Stored store(const Bytes& data) const;

  /// Whether the object is there. A packed one is found without a look at the disk.
  bool has(std::string_view hash, IncludingOverlay includingOverlay) const noexcept;

  /// Like `has`, and what a reader would find is not hollow: a power cut can leave an empty file under a
  /// name, which hides the object's good copy in the folder or in a pack, and a synchronised folder can have
  /// an index whose pack is missing or cut.
  bool hasContent(std::string_view hash, IncludingOverlay includingOverlay) const noexcept;

  /// The plain content. Throws the `FileError` of the instance folder's read when it is nowhere, and
  /// `BackupEncryptionError` when it can't be opened.
  Bytes object(std::string_view hash) const;

  /// The bytes as stored, sealed or not. Throws the `FileError` of the instance folder's read.
  Bytes stored(std::string_view hash) const;
  /// The same into a buffer that is used again and again.
  void readStored(std::string_view hash, Bytes& buffer) const;

  /// Whether stored bytes reproduce their name. Stored bytes are not made canonical again: one changed byte
  /// is damage, also when the JSON means the same. False for sealed bytes that can't be opened.
  bool isIntact(std::string_view hash, std::string_view stored) const noexcept;

  /// Where the object lives in the instance folder: its loose file, or its place in a pack.
  using Location = std::variant<Path, PackStore::Location>;
  std::optional<Location> location(std::string_view hash) const noexcept;

  /// Requires of the three: a name of 64 lower-case hexadecimal digits.
  Path objectURL(std::string_view hash) const;
  Path fileURL(std::string_view sha256) const;

  Path packsDirectory() const;
  /// Downloads in progress, below the overlay when there is one.
  Path downloadsDirectory() const;

  /// Whether the instance folder has that package file.
  bool hasFile(std::string_view sha256) const noexcept;

  /// Moves a finished download into the store; where the bytes are known already, deletes it instead. From
  /// another volume it is copied, and appears whole. Throws `FileError`, and `CancellationError` while it
  /// copies; the source is still there then.
  void adoptFile(const Path& source, std::string_view sha256, const std::stop_token& stop = {}) const;

  /// Writes a whole file in one step; see `platform::files::atomicWrite`. The one way in which any file of a
  /// backup folder is written.
  static void atomicWrite(std::string_view data, const Path& path);

 private:
  /// The store's own cipher, or else the folder's, which goes to `found`; null when there is neither.
  const BackupCipher* anyCipher(std::optional<BackupCipher>& found) const noexcept;
};

}  // namespace orvik
