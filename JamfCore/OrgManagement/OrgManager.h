#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "JamfCore/Authentication/KeychainStore.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Persistence/ModelContext.h"
#include "JamfCore/Persistence/Records.h"
#include "Platform/Concurrency/SerialExecutor.h"
#include "Platform/HTTP/HTTPSession.h"
#include "Platform/SecretString.h"
#include "Platform/UUID.h"

namespace jamf {

/// The organizations that are administered from here, and a client for each. Records are in the local
/// database, client secrets in the keychain.
///
/// Any thread may call: each operation runs on the manager's executor and is waited for. None waits for the
/// network. Other processes may work on the same database: whatever looks an organization up reads the list
/// anew first, and a change writes what it changes and nothing else.
///
/// A record and its secret change together: the secret is written once the database has accepted the change,
/// and put back as it was when the change can't be saved after all. So no secret is ever without its record.
///
/// Operations throw `platform::DatabaseError` and `KeychainError`, and nothing has changed then.
class OrgManager {
 public:
  using Client = std::shared_ptr<APIClient>;

  /// The list is empty until the first `refresh`. `urlSessionOverride` may be null: each client then gets a
  /// session of `sessionConfiguration`. Who uses the context elsewhere too does so on the same executor.
  OrgManager(std::shared_ptr<ModelContext> modelContext, KeychainStore keychain,
             std::shared_ptr<platform::HTTPSession> urlSessionOverride = {},
             std::shared_ptr<platform::SerialExecutor> executor =
                 std::make_shared<platform::SerialExecutor>("organizations"));

  /// 30 seconds without a byte, and 60 for a whole transfer.
  static platform::HTTPSessionConfiguration sessionConfiguration();

  /// As the last refresh found them: by the time of their making.
  std::vector<JamfOrganization> organizations() const;
  std::optional<platform::UUID> activeOrganizationID() const;
  void setActiveOrganizationID(const std::optional<platform::UUID>& id);

  /// Reads the list from the database. Clients of organizations that are gone, or have another address or
  /// client ID, are dropped.
  void refresh();

  /// Gives the record that was made.
  JamfOrganization addOrganization(const std::string& name, const std::string& baseURL,
                                   const std::string& clientID, const platform::SecretString& clientSecret,
                                   const std::optional<std::string>& clientName = {});

  /// What differs from `organization`, the record as the caller knows it, is changed; no new secret keeps the
  /// stored one. Throws `tuv::Error` when somebody removed it.
  void updateOrganization(const JamfOrganization& organization, const std::string& name,
                          const std::string& baseURL, const std::string& clientID,
                          const std::optional<platform::SecretString>& newClientSecret,
                          const std::optional<std::string>& clientName);

  std::optional<platform::SecretString> clientSecret(const JamfOrganization& organization) const;

  /// A new organization with the same address, client and secret. Gives its record.
  JamfOrganization duplicateOrganization(const JamfOrganization& organization, const std::string& newName);

  /// Takes secret, record and cached devices away; one that is gone already is no error. Calls under way end
  /// well, but who holds its client gets no further token.
  void removeOrganization(const JamfOrganization& organization);

  /// The one client of an organization, for as long as its address and client ID stay. Throws `APIError` for
  /// an address that is none and, as for a missing secret, when the organization was removed.
  Client apiClient(const JamfOrganization& organization);
  /// Of the first with exactly that name; null when there is none.
  Client apiClient(const std::string& name);

  /// Nothing when none is active, or it was removed.
  std::optional<JamfOrganization> activeOrganization();
  Client activeClient();

  struct Summary {
    std::string name;
    std::string baseURL;
    bool operator==(const Summary&) const = default;
  };
  std::vector<Summary> organizationSummaries();

 private:
  JamfOrganization insert(JamfOrganization record, const platform::SecretString* secret);
  void reload();
  const JamfOrganization* find(const platform::UUID& id) const;
  Client clientOf(const JamfOrganization& known);
  Client makeClient(const JamfOrganization& known) const;

  // Constant after construction.
  const std::shared_ptr<platform::SerialExecutor> executor_;
  const KeychainStore keychain_;
  const std::shared_ptr<platform::HTTPSession> urlSessionOverride_;

  // On the executor's thread alone.
  const std::shared_ptr<ModelContext> modelContext_;
  std::vector<JamfOrganization> organizations_;
  std::optional<platform::UUID> activeOrganizationID_;
  std::map<platform::UUID, Client> clientCache_;
};

}  // namespace jamf
