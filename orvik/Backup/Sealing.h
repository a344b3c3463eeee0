#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Engine/BackupJob.h"
#include "OrvikCore/Security/EncryptionInfo.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "TuvCore/CategorySink.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// The organisation keys to open folders with: that of a PEM file, or else those of this machine. Throws
/// `CredentialError` for a file that can't be used.
std::shared_ptr<const DecryptionKeyProvider> organisationKeys(const std::optional<std::string>& keyFile);

/// The copies of key records that runs on this machine kept of a folder's instance, newest first; of all
/// instances where the folder doesn't say whose it is.
std::vector<std::filesystem::path> keyRecordCopies(const BackupRepository& repository);

/// What the command line says of sealing.
struct Sealing {
  bool encrypt = false;
  std::optional<std::string> keyFile;  ///< PEM; none: the machine's keychain
  std::optional<std::string> keyID;    ///< the recipient of a new data key
};

/// The sealing of one run: settles it in the job before the run begins, watches that the run goes by the same
/// key record, and keeps a copy of that among the user's data. What it is made of must outlive it.
///
/// The library makes a new data key where a record can't be read, and takes any record that it can open. Here
/// both end with `CredentialError` and a sentence that says what to do, so that nobody gets there by accident
/// or through somebody else's record.
class SealedRun {
 public:
  /// Throws `CredentialError` as `check` does, and for a key file that can't be used or a key ID that isn't
  /// at hand.
  SealedRun(const Sealing& sealing, BackupJob& job, ProgressView& view);
  ~SealedRun();
  SealedRun(const SealedRun&) = delete;
  SealedRun& operator=(const SealedRun&) = delete;

  /// Before each attempt to begin. Refuses a record that can't be read, that is gone while there is sealed
  /// content, that changed since the start, or that doesn't open the newest sealed backup.
  void check() const;

  /// When the run has begun, under its lock: refuses another record than that of `check`.
  void begun();

 private:
  void requireSameRecord() const;
  void requireThatItOpensTheNewestBackup() const;

  const Sealing& sealing_;
  const BackupJob& job_;
  ProgressView& view_;
  const std::optional<EncryptionInfo> before_;
  bool isNewlySealed_ = false;
  std::shared_ptr<tuv::CategorySink> refusals_;
};

}  // namespace orvik::host
