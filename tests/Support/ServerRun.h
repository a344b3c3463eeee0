#pragma once

#include <memory>
#include <set>
#include <string>
#include <utility>

#include "JamfCore/Authentication/OAuthTokenManager.h"
#include "JamfCore/Networking/APIClient.h"
#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Files/Files.h"
#include "Platform/HTTP/HTTPSession.h"
#include "SampleServer/SampleServer.h"
#include "tests/Support/SecretSearch.h"

namespace orvik::test {

/// Backups of a real server on a real socket, into a folder of their own, in which no secret may be left.
struct ServerRun {
  explicit ServerRun(sample::SampleOptions options = {}) : server(std::move(options)) {}
  ~ServerRun() { expectNoSecrets(folder.path()); }

  sample::SampleServer server;
  platform::files::TempFolder folder;

  BackupRepository repository() const { return BackupRepository(folder.path() / "server"); }

  std::shared_ptr<jamf::APIClient> client() {
    const auto session = std::make_shared<platform::HTTPSession>();
    const auto tokens = std::make_shared<jamf::OAuthTokenManager>(
        server.url(), server.clientID(), session,
        [this] { return platform::SecretString(server.clientSecret()); });
    return std::make_shared<jamf::APIClient>(server.url(), tokens, session);
  }

  BackupJob job() {
    BackupJob job;
    job.instance = {platform::UUID::random(), "Sample", server.url(), "server", server.clientID()};
    job.client = client();
    job.options.downloadFiles = true;
    job.options.maxConcurrentRequests = 8;
    job.options.maxConcurrentDownloads = 2;
    job.root = folder.path() / "server";
    job.orvikVersion = "test";
    job.retryPolicy = {3, 0.001, 0.002};
    job.downloadRetryPolicy = {3, 0.001, 0.002};
    return job;
  }

  BackupManifest run(const OnBackupEvent& onEvent = {}, const std::stop_token& stop = {}) {
    return BackupEngine(job()).run(ResumeInterrupted::yes, onEvent, stop);
  }
};

}  // namespace orvik::test
