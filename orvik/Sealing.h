#pragma once

#include <memory>
#include <optional>
#include <string>

#include "OrvikCore/Engine/BackupJob.h"
#include "OrvikCore/Security/EncryptionInfo.h"
#include "TuvCore/CategorySink.h"
#include "orvik/ProgressView.h"

namespace orvik::host {

/// What the command line says of sealing.
struct Sealing {
  bool encrypt = false;
  std::optional<std::string> keyFile;  ///< PEM; none: the machine's keychain
  std::optional<std::string> keyID;    ///< the recipient of a new data key
};

/// The sealing of one run: settles it in the job before the run begins, and when it is over, however it
/// ended, keeps a copy of the folder's key record among the user's data. `job` and `view` must outlive it.
class SealedRun {
 public:
  /// Refuses, with `CredentialError`, a folder whose "encryption.json" is there and can't be read, or is gone
  /// while there is sealed content: the library would make a new data key, or write in the clear. Throws the
  /// same for a key file that can't be used and a key ID that isn't at hand.
  SealedRun(const Sealing& sealing, BackupJob& job, ProgressView& view);
  ~SealedRun();
  SealedRun(const SealedRun&) = delete;
  SealedRun& operator=(const SealedRun&) = delete;

 private:
  const BackupJob& job_;
  ProgressView& view_;
  const std::optional<EncryptionInfo> before_;
  std::shared_ptr<tuv::CategorySink> refusals_;
};

}  // namespace orvik::host
