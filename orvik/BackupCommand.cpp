#include "orvik/BackupCommand.h"

#include <fmt/format.h>

#include <utility>

#include "Platform/Files/Files.h"
#include "orvik/InstanceBackup.h"
#include "orvik/Instances/BackupRound.h"
#include "orvik/Instances/KnownInstances.h"
#include "orvik/Secrets.h"
#include "orvik/ServerURL.h"
#include "orvik/Wording.h"

namespace orvik::host {

namespace {

std::unique_ptr<ProgressView> viewFor(const BackupArguments& arguments, Results& results) {
  return makeProgressView(arguments.json ? OutputForm::jsonLines : OutputForm::text,
                          arguments.quiet ? Verbosity::quiet : Verbosity::normal, results);
}

/// The one server that the arguments name.
ChosenServer chosenServer(const BackupArguments& arguments, const HostPlaces& places) {
  if (!arguments.instance) return serverAt(serverURL(arguments.url), arguments.clientID, arguments.name);
  return registered(KnownInstances(places).named(*arguments.instance));
}

/// What the command line and its surroundings say, and for a registered server its own secret after that.
SecretSupply chosenSecret(const ChosenServer& server, const BackupArguments& arguments,
                          platform::SecretString environmentSecret, const std::stop_token& stop) {
  SecretSources sources{arguments.secretFile, arguments.secretCommand, std::move(environmentSecret)};
  if (arguments.instance && !isAtHand(sources)) return instanceSecret(server.config);
  return supplyOf(readSecret(std::move(sources), stop));
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

ExitStatus backUpAll(const BackupArguments& arguments, bool hasEnvironmentSecret, const HostPlaces& places,
                     Results& results, const std::stop_token& stop) {
  const KnownInstances known(places);
  const auto view = viewFor(arguments, results);
  for (const auto& warning : known.warnings()) view->remark(warning);
  if (known.all().empty())
    throw NotFoundError("No instance is registered. Register a server with orvik instances add.");
  if (hasEnvironmentSecret)
    view->remark("ORVIK_CLIENT_SECRET is left alone: with --all each server's own secret is used.");
  const auto round = runRound(known.all(), arguments, places, results, stop);
  tellRound(round, arguments, results);
  return statusOf(round);
}

}  // namespace

ExitStatus backup(const BackupArguments& arguments, platform::SecretString environmentSecret,
                  const HostPlaces& places, Results& results, const std::stop_token& stop) {
  if (arguments.all) return backUpAll(arguments, !environmentSecret.empty(), places, results, stop);
  const auto view = viewFor(arguments, results);
  const auto server = chosenServer(arguments, places);
  const auto secret = [&] { return chosenSecret(server, arguments, std::move(environmentSecret), stop); };
  const auto outcome = backUp(server, secret, arguments, places, *view, stop);
  if (!arguments.json) results.line(outcome.manifest.backupID);
  return exitStatusOf(outcome.manifest);
}

ExitStatus simulate(const SimulationArguments& arguments, platform::SecretString environmentSecret,
                    const HostPlaces& places, Results& results, const std::stop_token& stop) {
  if (arguments.report) requireWritable(*arguments.report);
  const auto view = viewFor(arguments.backup, results);
  const auto server = chosenServer(arguments.backup, places);
  const auto request =
      requestFor(server, chosenSecret(server, arguments.backup, std::move(environmentSecret), stop),
                 arguments.backup, *view);
  const auto outcome = runSimulation(request, arguments.report, *view, stop);
  if (!arguments.backup.json) results.line(wording::simulated(outcome));
  return exitStatusOf(outcome.manifest);
}

}  // namespace orvik::host
