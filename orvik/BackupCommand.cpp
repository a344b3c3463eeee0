#include "orvik/BackupCommand.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "OrvikCore/Config/InstanceConfig.h"
#include "Platform/Locale/Text.h"
#include "orvik/BackupSession.h"
#include "orvik/Secrets.h"
#include "orvik/SectionSelection.h"
#include "orvik/ServerClient.h"

namespace orvik::host {

namespace {

/// A URL may hold a password, so the message doesn't repeat it.
platform::URL serverURL(const std::string& text) {
  auto url = InstanceConfig::normalizedURL(text);
  if (!url || (url->scheme != "https" && url->scheme != "http") || !url->query.empty())
    throw UsageError("--url is not the URL of a server, such as https://school.example.");
  return std::move(*url);
}

bool isLoopback(const std::string& host) {
  return platform::locale::lowercased(host) == "localhost" || host == "[::1]" || host == "127.0.0.1";
}

BackupOptions optionsOf(const BackupArguments& arguments, std::set<std::string> disabledSections) {
  BackupOptions options;
  options.disabledSections = std::move(disabledSections);
  options.downloadFiles = false;
  options.maxConcurrentRequests = arguments.concurrency;
  options.maxRequestsPerSecond = arguments.rate;
  options.maxConcurrentDownloads = 2;
  return options;
}

Verbosity verbosityOf(const BackupArguments& arguments) {
  return arguments.quiet ? Verbosity::quiet : Verbosity::normal;
}

}  // namespace

ExitStatus backup(const BackupArguments& arguments, platform::SecretString environmentSecret,
                  Results& results, const std::stop_token& stop) {
  auto sections = SectionSelection::make(arguments.only, arguments.disable);
  const NamedServer server{serverURL(arguments.url), arguments.clientID, arguments.name};
  const auto view = makeProgressView(arguments.json ? OutputForm::jsonLines : OutputForm::text,
                                     verbosityOf(arguments), results);
  if (!sections.notRead.empty())
    view->remark(fmt::format("Not read by this version: {}.", fmt::join(sections.notRead, ", ")));
  if (server.url.scheme == "http" && !isLoopback(server.url.host))
    view->remark(
        fmt::format("{} is reached without TLS: the client secret travels in the clear.", server.url.host));

  BackupRequest request;
  request.root = arguments.to;
  request.instance = instanceFor(request.root, server);
  auto secret =
      readSecret({arguments.secretFile, arguments.secretCommand, std::move(environmentSecret)}, stop);
  request.client = makeClient(server.url, server.clientID, std::move(secret), arguments.caFile);
  request.options = optionsOf(arguments, std::move(sections.disabled));
  request.retryPolicy = {arguments.attempts, arguments.baseDelay, arguments.maxDelay};
  request.resume = arguments.noResume ? ResumeInterrupted::no : ResumeInterrupted::yes;
  request.lockWait = arguments.lockWait;
  request.pack = !arguments.noPack;
  request.keep = arguments.keep;
  request.sealing = {arguments.encrypt, arguments.key, arguments.keyID};

  const auto outcome = runBackup(request, *view, stop);
  if (!arguments.json) results.line(outcome.manifest.backupID);
  return outcome.manifest.status == BackupManifest::Status::complete ? ExitStatus::done
                                                                     : ExitStatus::warnings;
}

}  // namespace orvik::host
