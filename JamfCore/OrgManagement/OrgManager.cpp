#include "JamfCore/OrgManagement/OrgManager.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "JamfCore/Networking/APIError.h"
#include "JamfCore/Networking/Endpoint.h"
#include "Platform/Date.h"
#include "TuvCore/Log.h"

namespace jamf {

namespace {

using platform::SecretString;
using platform::UUID;

constexpr const char* secretKey = "clientSecret";

const tuv::CategoryLogger& logger() {
  static const tuv::CategoryLogger instance{"organizations"};
  return instance;
}

/// A change of an organization's secret, which is taken back unless the change of its record is kept too.
class SecretChange {
 public:
  SecretChange(const KeychainStore& keychain, const UUID& orgID) : keychain_(keychain), orgID_(orgID) {}
  ~SecretChange() {
    if (!isChanged_) return;
    try {
      before_ ? keychain_.setSecret(*before_, orgID_, secretKey) : keychain_.deleteSecret(orgID_, secretKey);
    } catch (const tuv::Error& error) {
      logger().error(
          fmt::format("the client secret of {} can't be put back: {}", orgID_.text(), error.description()));
    }
  }
  SecretChange(const SecretChange&) = delete;
  SecretChange& operator=(const SecretChange&) = delete;

  void set(const SecretString& secret) {
    remember();
    keychain_.setSecret(secret, orgID_, secretKey);
    isChanged_ = true;
  }
  void remove() {
    remember();
    keychain_.deleteSecret(orgID_, secretKey);
    isChanged_ = true;
  }
  void keep() noexcept { isChanged_ = false; }

 private:
  void remember() {
    try {
      before_ = keychain_.secret(orgID_, secretKey);
    } catch (const KeychainError& error) {
      // What is no text was of no use, and must not keep its organization from going.
      if (!std::holds_alternative<KeychainError::DataConversionFailed>(error.which())) throw;
    }
  }

  const KeychainStore& keychain_;
  const UUID orgID_;
  std::optional<SecretString> before_;
  bool isChanged_ = false;
};

void requireURL(const std::string& baseURL) { static_cast<void>(Endpoint{}.url(baseURL)); }

}  // namespace

OrgManager::OrgManager(std::shared_ptr<ModelContext> modelContext, KeychainStore keychain,
                       std::shared_ptr<platform::HTTPSession> urlSessionOverride,
                       std::shared_ptr<platform::SerialExecutor> executor)
    : executor_(std::move(executor)),
      keychain_(std::move(keychain)),
      urlSessionOverride_(std::move(urlSessionOverride)),
      modelContext_(std::move(modelContext)) {}

platform::HTTPSessionConfiguration OrgManager::sessionConfiguration() {
  platform::HTTPSessionConfiguration configuration;
  configuration.mostIdleTimeout = std::chrono::seconds(30);
  configuration.totalTimeout = std::chrono::seconds(60);
  return configuration;
}

std::vector<JamfOrganization> OrgManager::organizations() const {
  return executor_->run([&] { return organizations_; });
}

std::optional<UUID> OrgManager::activeOrganizationID() const {
  return executor_->run([&] { return activeOrganizationID_; });
}

void OrgManager::setActiveOrganizationID(const std::optional<UUID>& id) {
  executor_->run([&] { activeOrganizationID_ = id; });
}

void OrgManager::refresh() {
  executor_->run([&] { reload(); });
}

JamfOrganization OrgManager::addOrganization(const std::string& name, const std::string& baseURL,
                                             const std::string& clientID, const SecretString& clientSecret,
                                             const std::optional<std::string>& clientName) {
  return executor_->run([&] {
    return insert({UUID::random(), name, baseURL, clientID, platform::now(), {}, clientName}, &clientSecret);
  });
}

void OrgManager::updateOrganization(const JamfOrganization& organization, const std::string& name,
                                    const std::string& baseURL, const std::string& clientID,
                                    const std::optional<SecretString>& newClientSecret,
                                    const std::optional<std::string>& clientName) {
  auto changed = organization;
  changed.name = name;
  changed.baseURLString = baseURL;
  changed.clientID = clientID;
  changed.clientName = clientName;
  executor_->run([&] {
    SecretChange secret(keychain_, organization.id);
    modelContext_->save([&](ModelChanges& changes) {
      if (!changes.update(organization, changed))
        throw tuv::Error(fmt::format("The organization {} was removed.", organization.name));
      if (newClientSecret) secret.set(*newClientSecret);
    });
    secret.keep();
    clientCache_.erase(organization.id);
    reload();
  });
}

std::optional<SecretString> OrgManager::clientSecret(const JamfOrganization& organization) const {
  return executor_->run([&] { return keychain_.secret(organization.id, secretKey); });
}

JamfOrganization OrgManager::duplicateOrganization(const JamfOrganization& organization,
                                                   const std::string& newName) {
  return executor_->run([&] {
    const auto secret = keychain_.secret(organization.id, secretKey);
    auto copy = organization;
    copy.id = UUID::random();
    copy.name = newName;
    copy.createdAt = platform::now();
    copy.lastUsedAt.reset();
    return insert(std::move(copy), secret ? &*secret : nullptr);
  });
}

void OrgManager::removeOrganization(const JamfOrganization& organization) {
  executor_->run([&] {
    SecretChange secret(keychain_, organization.id);
    modelContext_->save([&](ModelChanges& changes) {
      changes.remove<JamfOrganization>(organization.id);
      secret.remove();
    });
    secret.keep();
    clientCache_.erase(organization.id);
    reload();
  });
}

OrgManager::Client OrgManager::apiClient(const JamfOrganization& organization) {
  return executor_->run([&] {
    reload();
    const auto* const known = find(organization.id);
    if (!known) throw APIError::notAuthenticated();
    return clientOf(*known);
  });
}

OrgManager::Client OrgManager::apiClient(const std::string& name) {
  return executor_->run([&] {
    reload();
    const auto found = std::ranges::find(organizations_, name, &JamfOrganization::name);
    return found == organizations_.end() ? nullptr : clientOf(*found);
  });
}

std::optional<JamfOrganization> OrgManager::activeOrganization() {
  return executor_->run([&]() -> std::optional<JamfOrganization> {
    reload();
    const auto* const active = activeOrganizationID_ ? find(*activeOrganizationID_) : nullptr;
    return active ? std::optional(*active) : std::nullopt;
  });
}

OrgManager::Client OrgManager::activeClient() {
  return executor_->run([&]() -> Client {
    const auto active = activeOrganization();
    return active ? clientOf(*active) : nullptr;
  });
}

std::vector<OrgManager::Summary> OrgManager::organizationSummaries() {
  return executor_->run([&] {
    reload();
    std::vector<Summary> summaries;
    for (const auto& each : organizations_) summaries.push_back({each.name, each.baseURLString});
    return summaries;
  });
}

JamfOrganization OrgManager::insert(JamfOrganization record, const SecretString* secret) {
  SecretChange change(keychain_, record.id);
  modelContext_->save([&](ModelChanges& changes) {
    changes.insert(record);
    if (secret) change.set(*secret);
  });
  change.keep();
  reload();
  return record;
}

void OrgManager::reload() {
  auto fresh = modelContext_->fetch<JamfOrganization>();
  const auto isSame = [&](const UUID& id) {
    const auto now = std::ranges::find(fresh, id, &JamfOrganization::id);
    const auto* const before = find(id);
    return before && now != fresh.end() && before->baseURLString == now->baseURLString &&
           before->clientID == now->clientID;
  };
  std::erase_if(clientCache_, [&](const auto& entry) { return !isSame(entry.first); });
  organizations_ = std::move(fresh);
}

const JamfOrganization* OrgManager::find(const UUID& id) const {
  const auto found = std::ranges::find(organizations_, id, &JamfOrganization::id);
  return found == organizations_.end() ? nullptr : &*found;
}

OrgManager::Client OrgManager::clientOf(const JamfOrganization& known) {
  const auto kept = clientCache_.find(known.id);
  return kept != clientCache_.end() ? kept->second
                                    : clientCache_.emplace(known.id, makeClient(known)).first->second;
}

OrgManager::Client OrgManager::makeClient(const JamfOrganization& known) const {
  requireURL(known.baseURLString);
  const auto session = urlSessionOverride_ ? urlSessionOverride_
                                           : std::make_shared<platform::HTTPSession>(sessionConfiguration());
  // A client outlives its organization, and this manager, when somebody still holds it.
  auto secretProvider = [keychain = keychain_, id = known.id] {
    auto secret = keychain.secret(id, secretKey);
    if (!secret) throw APIError::notAuthenticated();
    return std::move(*secret);
  };
  const auto tokens = std::make_shared<OAuthTokenManager>(known.baseURLString, known.clientID, session,
                                                          std::move(secretProvider));
  return std::make_shared<APIClient>(known.baseURLString, tokens, session);
}

}  // namespace jamf
