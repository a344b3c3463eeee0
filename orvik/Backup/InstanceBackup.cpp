#include "orvik/Backup/InstanceBackup.h"

#include <fmt/format.h>

#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Locale/Text.h"
#include "orvik/Backup/SectionSelection.h"
#include "orvik/Folder/KnownFolders.h"
#include "orvik/Server/ServerClient.h"
#include "orvik/Server/ServerURL.h"

namespace orvik::host {

namespace {

using platform::locale::dateText;
using TooSoon = BackupInterval::Decision::TooSoon;

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

std::string tooSoonText(const std::string& instance, const TooSoon& times, int minimumHours) {
  const auto rule = fmt::format("{} must lie between two backups", BackupInterval::describe(minimumHours));
  if (times.last > platform::now())
    return fmt::format(
        "{}: the last backup finished at {}, which lies ahead of this machine's clock, and {}. If the "
        "clock was wrong then, --minimum-hours 0 makes a backup all the same.",
        instance, dateText(times.last), rule);
  return fmt::format(
      "{}: the last backup finished at {}, and {}. The next may begin at {}; --minimum-hours 0 makes "
      "one all the same.",
      instance, dateText(times.last), rule, dateText(times.next));
}

/// The backup is made: whatever comes of the memory of its folder is told and changes nothing about it.
void remember(const BackupRepository& repository, const BackupOutcome& outcome, const HostPlaces& places,
              ProgressView& view, const std::stop_token& stop) try {
  KnownFolders(places.data).remember(repository, outcome.manifest.backupID, stop);
} catch (const platform::CancellationError&) {
} catch (const platform::Error& error) {
  view.remark("That backups are kept in this folder was not noted: " + error.description());
}

}  // namespace

TooSoonError::TooSoonError(const std::string& instance, TooSoon times, int minimumHours)
    : Error(tooSoonText(instance, times, minimumHours)), times_(times) {}

ChosenServer registered(const InstanceConfig& instance) {
  const auto url = instance.normalizedURL();
  if (!url || (url->scheme != "https" && url->scheme != "http"))
    throw tuv::Error(fmt::format("The URL of the instance {} is none of a server.", instance.name));
  return {instance};
}

BackupRequest requestFor(const ChosenServer& server, SecretSupply secret, const BackupArguments& arguments,
                         ProgressView& view) {
  const auto url = *server.config.normalizedURL();
  if (const auto remark = clearTextRemark(url)) view.remark(*remark);

  BackupRequest request;
  request.options = optionsOf(arguments);
  if (!request.options.fileShareMountPath)
    request.options.fileShareMountPath = server.config.fileShareMountPath;
  request.root = arguments.to;
  request.instance = instanceFor(request.root, server);
  request.client = makeClient(url, server.config.clientID, std::move(secret.provider), arguments.caFile);
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

BackupOutcome backUp(const ChosenServer& server, const std::function<SecretSupply()>& secret,
                     const BackupArguments& arguments, const HostPlaces& places, ProgressView& view,
                     const std::stop_token& stop) {
  SectionSelection::make(arguments.only, arguments.disable);  // before anybody is asked for a secret
  const auto instance = instanceFor(arguments.to, server);
  const BackupRepository repository(arguments.to, instance.slug);
  const auto requireFolder = [&] {
    if (!arguments.newFolder) KnownFolders(places.data).requireFilled(repository);
  };
  requireFolder();
  const auto decision = BackupInterval::check(repository, arguments.minimumHours, platform::now());
  if (decision.tooSoon) throw TooSoonError(instance.name, *decision.tooSoon, arguments.minimumHours);

  auto request = requestFor(server, secret(), arguments, view);
  request.requireFolder = requireFolder;
  auto outcome = runBackup(request, view, stop);
  remember(repository, outcome, places, view, stop);
  return outcome;
}

}  // namespace orvik::host
