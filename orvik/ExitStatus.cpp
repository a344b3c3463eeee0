#include "orvik/ExitStatus.h"

#include "JamfCore/Authentication/KeychainStore.h"
#include "JamfCore/Automation/PlaybookYAML.h"
#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Format/BackupEngineError.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/SecretError.h"
#include "OrvikCore/Store/CollectionPreflight.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Database/DatabaseError.h"
#include "Platform/HTTP/HTTPSession.h"
#include "TuvCore/KeychainStore.h"

namespace orvik::host {

namespace {

ExitStatus statusOf(const BackupEngineError& error) {
  if (error.kind() == BackupEngineError::Kind::locked) return ExitStatus::locked;
  return error.credential() == BackupEngineError::Credential::refused ? ExitStatus::credential
                                                                      : ExitStatus::failed;
}

Failure failureOf(const CollectionRefused& refusal) {
  using Kind = CollectionRefused::Kind;
  switch (refusal.kind()) {
    case Kind::sealed:
      return {ExitStatus::credential, refusal.description()};
    case Kind::unfinished:
      return {
          ExitStatus::failed,
          refusal.description() + " With --with-unfinished the run's own objects stay, and the rest goes."};
    case Kind::incomplete:
    case Kind::changing:
      break;
  }
  return {ExitStatus::failed, refusal.description()};
}

/// 400, 401 and 403 of the token request speak of the client (RFC 6749, 5.2); any other status doesn't.
ExitStatus statusOf(const jamf::APIError& error) {
  const auto* refused = error.as<jamf::APIError::AuthenticationFailed>();
  const auto status = refused ? refused->statusCode : 0;
  const bool isOfTheClient = status == 400 || status == 401 || status == 403;
  return isOfTheClient || error.as<jamf::APIError::NotAuthenticated>() ? ExitStatus::credential
                                                                       : ExitStatus::failed;
}

Failure cancelled() { return {ExitStatus::cancelled, "cancelled"}; }

}  // namespace

Failure describe(const std::exception_ptr& failure) {
  try {
    std::rethrow_exception(failure);
  } catch (const platform::CancellationError&) {
    return cancelled();
  } catch (const platform::HTTPError& error) {
    if (error.kind() == platform::HTTPErrorKind::cancelled) return cancelled();
    return {ExitStatus::failed, error.description()};
  } catch (const UsageError& error) {
    return {ExitStatus::usage, error.description()};
  } catch (const jamf::PlaybookYAMLError& error) {
    return {ExitStatus::usage, error.description()};
  } catch (const NotFoundError& error) {
    return {ExitStatus::notFound, error.description()};
  } catch (const BusyError& error) {
    return {ExitStatus::locked, error.description()};
  } catch (const CollectionRefused& refusal) {
    return failureOf(refusal);
  } catch (const CredentialError& error) {
    return {ExitStatus::credential, error.description()};
  } catch (const tuv::KeychainError& error) {
    return {ExitStatus::credential, error.description()};
  } catch (const jamf::KeychainError& error) {
    return {ExitStatus::credential, error.description()};
  } catch (const jamf::APIError& error) {
    return {statusOf(error), error.description()};
  } catch (const platform::DatabaseError& error) {
    const bool isBusy = error.kind() == platform::DatabaseErrorKind::busy;
    return {isBusy ? ExitStatus::locked : ExitStatus::failed, error.description()};
  } catch (const SecretError& error) {
    return {ExitStatus::credential, error.description()};
  } catch (const BackupEngineError& error) {
    return {statusOf(error), error.description()};
  } catch (const BackupEncryptionError& error) {
    if (error.kind() == BackupEncryptionError::Kind::damaged)
      return {ExitStatus::failed, error.description()};
    return {ExitStatus::credential,
            error.description() +
                " A key in a file is named with --key FILE; orvikctl keys lists those of this machine."};
  } catch (const std::exception& error) {
    return {ExitStatus::failed, error.what()};
  }
}

}  // namespace orvik::host
