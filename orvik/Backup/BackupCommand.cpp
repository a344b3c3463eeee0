#include "orvik/Backup/BackupCommand.h"

#include <utility>

#include "orvik/Backup/InstanceBackup.h"
#include "orvik/Instances/BackupRound.h"
#include "orvik/Instances/KnownInstances.h"
#include "orvik/Instances/ServerChoice.h"
#include "orvik/Notify/Notice.h"
#include "orvik/Output/OutputFile.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

std::unique_ptr<ProgressView> viewFor(const BackupArguments& arguments, Results& results) {
  return makeProgressView(arguments.json ? OutputForm::jsonLines : OutputForm::text,
                          arguments.quiet ? Verbosity::quiet : Verbosity::normal, results);
}

ExitStatus exitStatusOf(const BackupManifest& manifest) {
  return manifest.status == BackupManifest::Status::complete ? ExitStatus::done : ExitStatus::warnings;
}

ExitStatus backUpAll(const BackupArguments& arguments, bool hasEnvironmentSecret, const HostPlaces& places,
                     Results& results, const std::stop_token& stop, std::vector<RoundEntry>& round) {
  const KnownInstances known(places);
  const auto view = viewFor(arguments, results);
  for (const auto& warning : known.warnings()) view->remark(warning);
  if (known.all().empty())
    throw NotFoundError("No instance is registered. Register a server with orvik instances add.");
  if (hasEnvironmentSecret)
    view->remark("ORVIK_CLIENT_SECRET is left alone: with --all each server's own secret is used.");
  round = runRound(known.all(), arguments, places, results, stop);
  tellRound(round, arguments, results);
  return statusOf(round);
}

ExitStatus backUpOne(const BackupArguments& arguments, platform::SecretString environmentSecret,
                     const HostPlaces& places, Results& results, const std::stop_token& stop,
                     std::vector<RoundEntry>& round) {
  const auto view = viewFor(arguments, results);
  const auto server = chosenServer(arguments, places);
  auto& entry = round.emplace_back(RoundEntry{server.config, {}, {}, {}});
  const auto secret = [&] { return chosenSecret(server, arguments, std::move(environmentSecret), stop); };
  entry.outcome = backUp(server, secret, arguments, places, *view, stop);
  const auto& manifest = entry.outcome->manifest;
  if (!arguments.json) results.line(manifest.backupID);
  return exitStatusOf(manifest);
}

}  // namespace

ExitStatus backup(const BackupArguments& arguments, platform::SecretString environmentSecret,
                  const HostPlaces& places, Results& results, const std::stop_token& stop) {
  return Notice(arguments, stop).after([&](std::vector<RoundEntry>& round) {
    if (arguments.all) return backUpAll(arguments, !environmentSecret.empty(), places, results, stop, round);
    return backUpOne(arguments, std::move(environmentSecret), places, results, stop, round);
  });
}

ExitStatus simulate(const SimulationArguments& arguments, platform::SecretString environmentSecret,
                    const HostPlaces& places, Results& results, const std::stop_token& stop) {
  if (arguments.report) requireOutputFile("--report", *arguments.report);
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
