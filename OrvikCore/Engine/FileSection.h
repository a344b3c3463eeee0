#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <unordered_map>
#include <variant>
#include <vector>

#include "OrvikCore/Engine/RunContext.h"
#include "OrvikCore/Engine/SectionRunner.h"
#include "OrvikCore/Jamf/DistributionPoint.h"
#include "OrvikCore/Jamf/MountedShare.h"
#include "OrvikCore/Store/FileHasher.h"

namespace orvik {

/// Backs up the package binaries. It lists nothing itself: what earlier sections of the same run stored says
/// which files packages use and where they may be had. Each is downloaded, compared with the hash that the
/// server records, and kept once under the SHA-256 of its bytes.
///
/// Made for one `run`; what it is made of must outlive it.
class FileSection {
 public:
  /// One file to have.
  struct Target {
    std::string fileName;                   ///< on the server; also the id of its item
    std::vector<std::string> packageNames;  ///< the packages that use it
    std::optional<std::string> hashType;    ///< as the server records it
    std::optional<std::string> hashValue;
    std::optional<std::int64_t> size;  ///< bytes
    bool onJCDS = false;               ///< the cloud distribution point has it

    /// "TYPE:value", the value in lower case: what two backups compare. Nothing when a part is missing or
    /// empty.
    std::optional<std::string> jamfHash() const;
  };

  // The places to try.
  struct JCDS {
    bool isGuess = false;  ///< its list could not be read, so nobody knows whether it has the file
  };
  struct Mount {
    MountedShare* share;
  };
  using Source = std::variant<JCDS, DistributionPoint, Mount>;

  FileSection(const SectionDefinition& definition, const RunContext& context)
      : definition_(definition), context_(context) {
    if (const auto& mount = context.job.options.fileShareMountPath) mount_.emplace(*mount);
  }

  /// Items without objects, with `file` set. A file that could not be had is told in its item and is no
  /// error: the metadata is whole without it. Throws `platform::CancellationError`.
  SectionReading run(const SectionRunner& mapper, const std::stop_token& stop) const;

  /// Each file that a package names, once, in the order of the packages.
  std::vector<Target> collectTargets(const std::stop_token& stop) const;
  /// The anonymous HTTP shares, in the order of their section.
  std::vector<DistributionPoint> httpDistributionPoints(const std::stop_token& stop) const;

  /// Whether the parent's file is this one: by the server's hash, or without one by the size.
  static bool sameFile(const FileRef& parent, const Target& target);
  /// Whether the bytes are those that the server records; nothing when that can't be told.
  static std::optional<bool> verify(const Target& target, const FileHasher::Digests& digests);

 private:
  using TargetsByName = std::unordered_map<std::string, const Target*>;
  /// The parent's file that can stand for a target, or null.
  using Reusable = std::function<const FileRef*(const Target& target)>;

  /// Whether this run moves bytes at all.
  bool fetches() const;
  FileRef fetch(const Target& target, const std::vector<DistributionPoint>& points,
                const std::stop_token& stop) const;
  std::vector<Source> sourcesOf(const Target& target, const std::vector<DistributionPoint>& points) const;
  bool isReusable(const FileRef& parent, const Target& target) const;
  void announceBytes(const std::vector<Target>& targets, const Reusable& reusable) const;
  void noteMissing(const std::vector<IndexItem>& items) const;
  void removeUnwantedParts(const TargetsByName& wanted) const;

  const SectionDefinition& definition_;
  const RunContext& context_;
  mutable std::optional<MountedShare> mount_;  ///< synchronises itself
};

}  // namespace orvik
