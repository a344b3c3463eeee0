#include "orvik/ExitStatus.h"

#include <gtest/gtest.h>

#include "JamfCore/Automation/PlaybookYAML.h"
#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/SecretError.h"
#include "OrvikCore/Store/CollectionPreflight.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "Platform/HTTP/HTTPSession.h"
#include "TuvCore/KeychainStore.h"

namespace orvik::host {
namespace {

template <class Failed>
int statusOf(const Failed& failure) {
  return static_cast<int>(describe(std::make_exception_ptr(failure)).status);
}

TEST(ExitStatus, EveryKindOfFailureHasItsStatus) {
  using platform::HTTPError;
  using platform::HTTPErrorKind;
  EXPECT_EQ(statusOf(tuv::Error("x")), 1);
  EXPECT_EQ(statusOf(std::runtime_error("x")), 1);
  EXPECT_EQ(statusOf(platform::files::FileError(platform::files::FileErrorKind::noSpace, 28, "x")), 1);
  EXPECT_EQ(statusOf(UsageError("x")), 2);
  EXPECT_EQ(statusOf(jamf::PlaybookYAMLError("x")), 2);
  EXPECT_EQ(statusOf(NotFoundError("x")), 10);
  EXPECT_EQ(statusOf(CredentialError("x")), 12);
  EXPECT_EQ(statusOf(jamf::APIError::authenticationFailed(401, "x")), 12);
  EXPECT_EQ(statusOf(jamf::APIError::notAuthenticated()), 12);
  EXPECT_EQ(statusOf(jamf::APIError::authenticationFailed(503, "x")), 1);
  EXPECT_EQ(statusOf(jamf::APIError::requestFailed(401, "x")), 1);
  EXPECT_EQ(statusOf(SecretError::crypto("x")), 12);
  EXPECT_EQ(statusOf(tuv::KeychainError::unexpectedStatus(-25308)), 12);
  EXPECT_EQ(statusOf(CollectionRefused(CollectionRefused::Kind::sealed, "x")), 12);
  EXPECT_EQ(statusOf(CollectionRefused(CollectionRefused::Kind::incomplete, "x")), 1);
  EXPECT_EQ(statusOf(CollectionRefused(CollectionRefused::Kind::changing, "x")), 1);
  EXPECT_EQ(statusOf(BackupEngineError::locked("a on b", {})), 11);
  EXPECT_EQ(statusOf(BackupEngineError::cannotConnect("x")), 1);
  EXPECT_EQ(statusOf(BackupEngineError::cannotConnect("x", BackupEngineError::Credential::refused)), 12);
  EXPECT_EQ(statusOf(BackupEncryptionError::locked({"k"})), 12);
  EXPECT_EQ(statusOf(BackupEncryptionError::noOrganisationKey()), 12);
  EXPECT_EQ(statusOf(BackupEncryptionError::damaged("x")), 1);
  EXPECT_EQ(statusOf(platform::CancellationError()), 130);
  EXPECT_EQ(statusOf(HTTPError(HTTPErrorKind::cancelled, "x")), 130);
  EXPECT_EQ(statusOf(HTTPError(HTTPErrorKind::timedOut, "x")), 1);
}

TEST(ExitStatus, AMissingKeySaysHowToGiveIt) {
  const auto error = BackupEncryptionError::locked({"k"});
  EXPECT_EQ(describe(std::make_exception_ptr(error)).message,
            error.description() +
                " A key in a file is named with --key FILE; orvikctl keys lists those of this machine.");
}

TEST(ExitStatus, AnInterruptedRunInTheWaySaysWhatHelps) {
  const CollectionRefused refusal(CollectionRefused::Kind::unfinished, "It waits.");
  EXPECT_EQ(describe(std::make_exception_ptr(refusal)).message,
            "It waits. With --with-unfinished the run's own objects stay, and the rest goes.");
}

TEST(ExitStatus, TheMessageIsTheDescription) {
  EXPECT_EQ(describe(std::make_exception_ptr(UsageError("a sentence"))).message, "a sentence");
}

}  // namespace
}  // namespace orvik::host
