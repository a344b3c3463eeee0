#include "bench/RunOfServer.h"

#include <fmt/format.h>

#include <memory>

#include "JamfCore/Authentication/OAuthTokenManager.h"
#include "JamfCore/Networking/APIClient.h"
#include "OrvikCore/Engine/BackupEngine.h"
#include "Platform/HTTP/HTTPSession.h"

namespace bench {

orvik::BackupJob jobFor(const ServerProcess& server, const std::filesystem::path& root, int width) {
  const auto session = std::make_shared<platform::HTTPSession>();
  const auto tokens = std::make_shared<jamf::OAuthTokenManager>(
      server.url(), server.clientID(), session,
      [&server] { return platform::SecretString(server.clientSecret()); });
  orvik::BackupJob job;
  job.instance = {platform::UUID::random(), "bench", server.url(), "bench", {}};
  job.client = std::make_shared<jamf::APIClient>(server.url(), tokens, session);
  job.options.disabledSections = {"computers", "mobileDevices", "packageFiles"};
  job.options.maxConcurrentRequests = width;
  job.root = root;
  job.orvikVersion = "bench";
  job.retryPolicy = orvik::RetryPolicy::none;
  job.downloadRetryPolicy = orvik::RetryPolicy::none;
  return job;
}

orvik::BackupManifest run(const ServerProcess& server, const std::filesystem::path& root, int width) {
  return orvik::BackupEngine(jobFor(server, root, width)).run(orvik::ResumeInterrupted::no, {});
}

orvik::BackupManifest twoBackupsOfTheLargestFleet(const std::filesystem::path& root) {
  ServerProcess server(sample::FleetSize::enterprise);
  const auto runOnce = [&] {
    auto job = jobFor(server, root, 16);
    job.options.disabledSections = {"packageFiles"};
    return orvik::BackupEngine(job).run(orvik::ResumeInterrupted::no, {});
  };
  runOnce();
  server.mutate(1000);
  auto manifest = runOnce();
  fmt::print("{} objects, {} of them new or changed\n", manifest.totals.objects,
             manifest.totals.newOrChangedObjects);
  return manifest;
}

}  // namespace bench
