#include "orvik/BackupCommand.h"

#include <fmt/format.h>

#include "OrvikCore/Config/InstanceConfig.h"
#include "Platform/Files/Files.h"
#include "Platform/Locale/Text.h"
#include "orvik/BackupSession.h"
#include "orvik/Instances/InstanceSecrets.h"
#include "orvik/Secrets.h"
#include "orvik/SectionSelection.h"
#include "orvik/ServerClient.h"
#include "orvik/Wording.h"

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

BackupOptions optionsOf(const BackupArguments& arguments) {
  BackupOptions options;
  options.disabledSections = SectionSelection::make(arguments.only, arguments.disable).disabled;
  options.downloadFiles = !arguments.noFiles;
  options.includeClassicDeviceRecords = arguments.classicDevices;
  options.forceFullDeviceRefresh = arguments.fullRefresh;
  options.maxConcurrentRequests = arguments.concurrency;
  options.maxRequestsPerSecond = arguments.rate;
  options.maxConcurrentDownloads = arguments.downloads;
  options.fileShareMountPath = arguments.mount;
  return options;
}

std::unique_ptr<ProgressView> viewFor(const BackupArguments& arguments, Results& results) {
  return makeProgressView(arguments.json ? OutputForm::jsonLines : OutputForm::text,
                          arguments.quiet ? Verbosity::quiet : Verbosity::normal, results);
}

BackupRequest requestFor(const BackupArguments& arguments, platform::SecretString environmentSecret,
                         ProgressView& view, const std::stop_token& stop) {
  BackupRequest request;
  request.options = optionsOf(arguments);
  const NamedServer server{serverURL(arguments.url), arguments.clientID, arguments.name};
  if (server.url.scheme == "http" && !isLoopback(server.url.host))
    view.remark(
        fmt::format("{} is reached without TLS: the client secret travels in the clear.", server.url.host));

  request.root = arguments.to;
  request.instance = instanceFor(request.root, server);
  auto secret = supplyOf(
      readSecret({arguments.secretFile, arguments.secretCommand, std::move(environmentSecret)}, stop));
  request.client = makeClient(server.url, server.clientID, std::move(secret.provider), arguments.caFile);
  request.credentialSource = std::move(secret.source);
  request.caFile = arguments.caFile;
  request.staging = arguments.staging;
  request.retryPolicy = {arguments.attempts, arguments.baseDelay, arguments.maxDelay};
  request.resume = arguments.noResume ? ResumeInterrupted::no : ResumeInterrupted::yes;
  request.lockWait = arguments.lockWait;
  request.pack = !arguments.noPack;
  request.keep = arguments.keep;
  request.sealing = {arguments.encrypt, arguments.key, arguments.keyID};
  request.reports = !arguments.noReports;
  return request;
}

/// A long run must not end at a name that could not be written from the start.
void requireWritable(const std::filesystem::path& report) {
  const auto folder = std::filesystem::absolute(report).parent_path();
  if (!platform::files::isDirectory(folder))
    throw UsageError(fmt::format("The folder {} of --report is not there.", folder.string()));
  if (!report.has_filename() || platform::files::isDirectory(report))
    throw UsageError(fmt::format("{} of --report is a folder; name a file.", report.string()));
}

ExitStatus exitStatusOf(const BackupManifest& manifest) {
  return manifest.status == BackupManifest::Status::complete ? ExitStatus::done : ExitStatus::warnings;
}

}  // namespace

ExitStatus backup(const BackupArguments& arguments, platform::SecretString environmentSecret,
                  Results& results, const std::stop_token& stop) {
  const auto view = viewFor(arguments, results);
  const auto request = requestFor(arguments, std::move(environmentSecret), *view, stop);
  const auto outcome = runBackup(request, *view, stop);
  if (!arguments.json) results.line(outcome.manifest.backupID);
  return exitStatusOf(outcome.manifest);
}

ExitStatus simulate(const SimulationArguments& arguments, platform::SecretString environmentSecret,
                    Results& results, const std::stop_token& stop) {
  if (arguments.report) requireWritable(*arguments.report);
  const auto view = viewFor(arguments.backup, results);
  const auto request = requestFor(arguments.backup, std::move(environmentSecret), *view, stop);
  const auto outcome = runSimulation(request, arguments.report, *view, stop);
  if (!arguments.backup.json) results.line(wording::simulated(outcome));
  return exitStatusOf(outcome.manifest);
}

}  // namespace orvik::host
