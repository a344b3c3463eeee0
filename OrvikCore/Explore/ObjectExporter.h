#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <set>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "Platform/Bytes.h"

namespace orvik {

/// One way of giving an object back as a file.
struct ObjectExport {
  /// Bytes to write.
  struct Data {
    platform::Bytes data;
    bool executable = false;
    bool operator==(const Data&) const = default;
  };
  /// A file of the store, to be copied.
  struct StoredFile {
    std::filesystem::path path;
    bool operator==(const StoredFile&) const = default;
  };
  /// A package file that the backup doesn't hold.
  struct NotInBackup {
    std::string fileName;
    std::optional<std::int64_t> size;  ///< bytes
    bool operator==(const NotInBackup&) const = default;
  };
  using Content = std::variant<Data, StoredFile, NotInBackup>;

  std::string title;     ///< in a menu
  std::string fileName;  ///< proposed
  Content content;
  bool operator==(const ObjectExport&) const = default;
};

/// Gives stored objects back as files that are useful on their own: profiles, scripts, packages, JSON. Any
/// thread may call.
struct ObjectExporter {
  using Path = std::filesystem::path;

  struct SectionExportResult {
    int written = 0;
    std::vector<std::string> skipped;  ///< display names of entries with nothing to write
    bool operator==(const SectionExportResult&) const = default;
  };

  /// A file name takes at most so many bytes, so that the temporary file beside it has a name, too.
  static constexpr std::size_t longestFileName = 213;

  ObjectExporter() = delete;

  /// Whether objects of the section have a form of their own beside JSON.
  static bool hasNativeExport(std::string_view sectionID);

  /// What can be made of an entry, the native form first. What can't be read is left out.
  static std::vector<ObjectExport> exports(const BackupReader::Entry& entry, const BackupReader& reader);

  /// A stored object of an entry: its JSON under the name of its variant.
  struct NamedJSON {
    std::string variant;
    platform::Bytes bytes;
  };
  /// The objects of an entry in the order in which their variants count. Throws as `BackupReader::rawJSON`.
  static std::vector<NamedJSON> storedJSON(const BackupReader::Entry& entry, const BackupReader& reader);

  /// The text that an object of a section of profiles or scripts is, made of its stored objects; nothing for
  /// one that has none, and in other sections. Its content is `Data`. Throws `platform::json::ParseError` for
  /// a stored object that is no JSON.
  static std::optional<ObjectExport> nativeText(const BackupReader::Entry& entry,
                                                const std::vector<NamedJSON>& stored);

  /// The binary of an entry of `packages` or `packageFiles`; `roots` are further folders in the shape of an
  /// instance folder whose stores may hold it. Nothing for an entry without a file name.
  static std::optional<ObjectExport> packageFile(const BackupReader::Entry& entry, const BackupReader& reader,
                                                 const std::vector<Path>& roots = {});

  /// Writes a file in one step, over one that is there, with the folders that are missing. A script may be
  /// executed from the moment on in which it has its name. Throws `platform::files::FileError`,
  /// `DownloadError` for what the backup doesn't hold, and `platform::CancellationError`.
  static void write(const ObjectExport& object, const Path& destination, const std::stop_token& stop = {});

  /// Called for each file that was written.
  using OnWritten = std::function<void(const BackupReader::Entry& entry, const Path& path)>;
  /// Whether an entry is written; one that isn't counts as skipped.
  using Accepts = std::function<bool(const BackupReader::Entry& entry)>;
  /// Writes the first form of every stored object of a section into a folder, which is made. Either callback
  /// may be empty. Throws as `write` at the first that fails, what was written stays; and
  /// `BackupEncryptionError` when the section can't be read for lack of a key.
  static SectionExportResult exportSection(std::string_view sectionID, const BackupReader& reader,
                                           const Path& folder, const OnWritten& onWritten = {},
                                           const Accepts& accepts = {}, const std::stop_token& stop = {});

  /// A text as a part of a file name: without "/" and ":", of at most 200 characters, never empty.
  static std::string safeName(std::string_view text);
  static std::string scriptFileName(std::string_view name, std::string_view contents);

  /// A text as the name of one file that can be made and seen: "-" stands for "/", for control characters,
  /// those that turn the direction of text among them, and for dots at its beginning. Cut before the
  /// extension, at the end of a character, to `longestFileName` bytes. Never empty.
  static std::string fileName(std::string_view text);
  /// The same with `tail` behind it, which stands as it is: what is too long is cut before it. Requires:
  /// `tail` is free of what is replaced, and shorter than `longestFileName`.
  static std::string fileName(std::string_view text, std::string_view tail);
  /// The same, and a name that isn't used yet, in whatever case; enters it into the set, in lower case.
  static std::string unique(std::string_view name, std::set<std::string>& used);
};

}  // namespace orvik
