#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "Platform/Date.h"

namespace orvik {

/// Where a repair puts what is damaged: `.quarantine/<time>/` in the instance folder, and below it the path
/// that the file had. Nothing is ever deleted there, and no reader sees it. A link in its place is never
/// followed. For one thread; the folder's lock is held.
class Quarantine {
 public:
  static constexpr std::string_view folderName = ".quarantine";

  /// One of its own, whose name nobody has yet; nothing is made before something is put there.
  Quarantine(std::filesystem::path instance, platform::Date now);

  /// Below the instance folder.
  const std::string& folder() const noexcept { return folder_; }

  /// Moves a file there, by its path below the instance folder, in one step. Throws
  /// `platform::files::FileError`; the file is where it was then.
  void take(const std::string& path) const;
  /// Copies a file there, flushed, for one that is replaced in its place; one that can't be read is moved.
  /// Throws the same.
  void keepCopy(const std::string& path) const;

 private:
  /// The place for a file, with the folders on the way made.
  std::filesystem::path placeFor(const std::string& path) const;

  const std::filesystem::path instance_;
  std::string folder_;
};

}  // namespace orvik
