#include "orvik/Instances/InstanceCommands.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "OrvikCore/Config/ManagedInstances.h"
#include "OrvikCore/Config/ScheduleStore.h"
#include "OrvikCore/Jamf/ServerFacts.h"
#include "Platform/Locale/Text.h"
#include "orvik/Backup/InstanceBackup.h"
#include "orvik/Instances/InstanceFile.h"
#include "orvik/Instances/InstanceSecrets.h"
#include "orvik/Instances/InstanceText.h"
#include "orvik/Instances/KnownInstances.h"
#include "orvik/Output/Question.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/VisibleText.h"
#include "orvik/Output/Wording.h"
#include "orvik/Server/ServerClient.h"
#include "orvik/Server/ServerURL.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using platform::locale::lowercased;
using wording::shellWord;

KnownInstances known(const HostPlaces& places, const Report& report) {
  KnownInstances instances(places);
  for (const auto& warning : instances.warnings()) report.note(warning);
  return instances;
}

InstanceConfig configOf(const AddInstanceArguments& arguments) {
  InstanceConfig instance;
  instance.name = platform::locale::trimmed(arguments.name);
  if (visibleLine(instance.name) != instance.name)
    throw UsageError("--name holds characters that can't be shown.");
  instance.url = platform::locale::trimmed(arguments.url);
  instance.clientID = arguments.clientID;
  instance.id = ManagedInstances::stableID(serverURL(arguments.url).text(), instance.clientID);
  // It is used later, from whichever folder a backup runs in.
  if (arguments.mount)
    instance.fileShareMountPath = std::filesystem::absolute(*arguments.mount).lexically_normal().string();
  return instance;
}

/// A name means one instance, and what the organisation manages is not the user's to change.
void requireFree(const std::vector<InstanceConfig>& instances, const InstanceConfig& wanted) {
  for (const auto& each : instances) {
    // A managed one has the ID of its URL as it is written, which may have a slash more.
    const auto id = ManagedInstances::stableID(each.descriptor().url, each.clientID);
    if (id == wanted.id && KnownInstances::isManaged(each))
      throw UsageError(fmt::format(
          "This server is managed by the organisation already, as {}; it needs no registration.", each.name));
    if (each.id != wanted.id && lowercased(each.name) == lowercased(wanted.name))
      throw UsageError(
          fmt::format("There is an instance {} already, at {} with the client {}. Choose another name.",
                      each.name, each.descriptor().url, each.clientID));
  }
}

/// Puts an instance and its secret where they belong, or neither.
class Registration {
 public:
  Registration(const InstanceConfig& instance, const platform::SecretString& secret)
      : instance_(instance), secret_(secret) {}

  /// Whether the instance is a new one.
  bool carryOut(const HostPlaces& places, const Report& report, const std::stop_token& stop) {
    try {
      InstanceFile::change(
          places, [&](auto& instances) { enter(instances); }, stop);
    } catch (...) {
      if (isSecretStored_ && isNew_) withdrawSecret(report);
      throw;
    }
    return isNew_;
  }

 private:
  void enter(std::vector<InstanceConfig>& instances) {
    requireFree(instances, instance_);
    const auto same = std::ranges::find(instances, instance_.id, &InstanceConfig::id);
    isNew_ = same == instances.end();
    credentials_.saveSecret(secret_, instance_);
    isSecretStored_ = true;
    if (isNew_)
      instances.push_back(instance_);
    else
      *same = instance_;
  }

  void withdrawSecret(const Report& report) const {
    try {
      credentials_.deleteSecret(instance_);
    } catch (const tuv::KeychainError& error) {
      report.note("The client secret stays in the keychain: " + error.description());
    }
  }

  const InstanceConfig& instance_;
  const platform::SecretString& secret_;
  const CredentialStore credentials_ = credentialStore();
  bool isNew_ = false;
  bool isSecretStored_ = false;
};

SecretSources sourcesOf(const SecretArguments& arguments, platform::SecretString environmentSecret) {
  return {arguments.file, arguments.command, std::move(environmentSecret)};
}

/// Runs that somebody planned for an instance that is no more.
void noteScheduledRuns(const InstanceConfig& instance, const HostPlaces& places, const Report& report) {
  const auto runs = ScheduleStore(places.data).load();
  if (const auto count = std::ranges::count(runs, instance.id, &ScheduledRun::instanceID); count != 0)
    report.note(
        fmt::format("{} of {} left in the schedule, where each will fail; orvik schedule remove takes "
                    "them out.",
                    wording::counted(count, "run"), instance.name));
}

}  // namespace

ExitStatus listInstances(const ListInstancesArguments& arguments, const HostPlaces& places,
                         Results& results) {
  const Report report(arguments.output, results);
  const auto instances = known(places, report);
  const auto credentials = credentialStore();
  for (const auto& each : instances.all()) {
    const bool hasSecret = credentials.hasSecret(each);
    report.text(instanceText::page(each, hasSecret, report.paint()));
    report.event("instance", instanceText::json(each, hasSecret));
  }
  if (instances.all().empty())
    report.note(
        "There is no instance yet. Register a server with orvik instances add --name NAME --url URL "
        "--client-id ID --secret-file FILE.");
  report.event("finished", Value::object({{"instances", instances.all().size()}}));
  return ExitStatus::done;
}

ExitStatus addInstance(const AddInstanceArguments& arguments, platform::SecretString environmentSecret,
                       const HostPlaces& places, Results& results, const std::stop_token& stop) {
  const Report report(arguments.output, results);
  const auto instance = configOf(arguments);
  if (const auto remark = clearTextRemark(*instance.normalizedURL())) report.note(*remark);
  requireFree(known(places, report).all(), instance);
  const auto secret = readOrAskSecret(sourcesOf(arguments.secret, std::move(environmentSecret)), stop);
  const bool isNew = Registration(instance, secret.value).carryOut(places, report, stop);

  const auto text = fmt::format(
      "{}{}\n\nNext:\n  orvik instances test {}\n  orvik backup --instance {} --to ROOT",
      isNew ? "Registered " : "Registered anew, in place of what was known of this server: ",
      instanceText::page(instance, true, report.paint()), shellWord(instance.name), shellWord(instance.name));
  report.finished(text, instanceText::json(instance, true).set("isNew", isNew));
  return ExitStatus::done;
}

ExitStatus removeInstance(const RemoveInstanceArguments& arguments, const HostPlaces& places,
                          Results& results, const std::stop_token& stop) {
  const Report report(arguments.output, results);
  const auto instance = known(places, report).named(arguments.name);
  if (KnownInstances::isManaged(instance))
    throw UsageError(fmt::format(
        "{} is managed by the organisation; who manages this machine can take it away.", instance.name));
  const auto what =
      visibleLine(fmt::format("{} ({}) and its client secret", instance.name, instance.descriptor().url));
  const auto finish = [&](const std::string& text, bool removed) {
    report.finished(text, Value::object({{"name", instance.name},
                                         {"id", instance.id.text()},
                                         {"dryRun", arguments.dryRun},
                                         {"removed", removed}}));
  };
  if (arguments.dryRun) {
    finish(fmt::format("Would remove {}. Its backups stay.", what), false);
    return ExitStatus::done;
  }
  if (!question::agrees(arguments.yes, "an instance", fmt::format("Remove {}? Its backups stay.", what),
                        stop)) {
    finish("Nothing was removed.", false);
    return ExitStatus::failed;
  }
  InstanceFile::change(
      places,
      [&](std::vector<InstanceConfig>& instances) {
        // First, so that no secret stays behind without an instance.
        credentialStore().deleteSecret(instance);
        std::erase_if(instances, [&](const InstanceConfig& each) { return each.id == instance.id; });
      },
      stop);
  noteScheduledRuns(instance, places, report);
  finish(fmt::format("Removed {}. Its backups stay.", what), true);
  return ExitStatus::done;
}

ExitStatus testInstance(const TestInstanceArguments& arguments, platform::SecretString environmentSecret,
                        const HostPlaces& places, Results& results, const std::stop_token& stop) {
  const Report report(arguments.output, results);
  const auto instance = known(places, report).named(arguments.name);
  const auto url = *registered(instance).config.normalizedURL();
  if (const auto remark = clearTextRemark(url)) report.note(*remark);
  auto sources = sourcesOf(arguments.secret, std::move(environmentSecret));
  auto secret = isAtHand(sources) ? supplyOf(readSecret(std::move(sources), stop)) : instanceSecret(instance);
  const auto client = makeClient(url, instance.clientID, std::move(secret.provider), arguments.caFile);

  std::optional<std::string> version;
  std::optional<std::vector<std::string>> privileges;
  {
    const auto view = report.view(Verbosity::brief);
    view->step("Connecting to " + url.text());
    version = ServerFacts::version(*client, stop);
    privileges = ServerFacts::privileges(*client, stop);
  }
  auto json =
      Value::object({{"name", instance.name}, {"url", url.text()}, {"credentialSource", secret.source}});
  if (version) json.set("jamfProVersion", *version);
  if (privileges)
    json.set("privileges", Value::array(std::vector<Value>(privileges->begin(), privileges->end())));
  report.finished(
      fmt::format("{}\nThe client secret came from {}. {}", instanceText::answers(instance, version),
                  visibleLine(secret.source), instanceText::privileges(privileges)),
      std::move(json));
  return ExitStatus::done;
}

}  // namespace orvik::host
