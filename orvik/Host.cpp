#include "orvik/Host.h"

#include <exception>
#include <utility>

#include "OrvikCore/Store/BackupLock.h"
#include "Platform/Host.h"
#include "Platform/Process/StopSignals.h"
#include "Platform/Terminal/StandardStreams.h"
#include "orvik/BackupCommand.h"
#include "orvik/Browse/BrowseCommand.h"
#include "orvik/Care/CareCommands.h"
#include "orvik/CommandTable.h"
#include "orvik/ConfigCommands.h"
#include "orvik/DemoCommand.h"
#include "orvik/Doctor/DoctorCommand.h"
#include "orvik/Documents/DocumentCommands.h"
#include "orvik/ExitStatus.h"
#include "orvik/ExploreCommands.h"
#include "orvik/FolderCommands.h"
#include "orvik/HostPlaces.h"
#include "orvik/Instances/InstanceCommands.h"
#include "orvik/JSONProgress.h"
#include "orvik/LockCommands.h"
#include "orvik/MCP/MCPCommands.h"
#include "orvik/Orgs/OrgCommands.h"
#include "orvik/Output.h"
#include "orvik/PatchReportCommand.h"
#include "orvik/Playbook/PlaybookCommands.h"
#include "orvik/Relations/RelationCommands.h"
#include "orvik/SampleServerCommand.h"
#include "orvik/ScheduleCommands.h"
#include "orvik/Secrets.h"
#include "orvik/ServerExportCommand.h"
#include "orvik/Settings/Settings.h"
#include "orvik/StatusCommand.h"
#include "orvik/VisibleText.h"

namespace orvik::host {

namespace {

struct Dispatch {
  platform::SecretString& environmentSecret;
  const HostPlaces& places;
  Settings& settings;
  Results& results;
  std::stop_token stop;

  ExitStatus operator()(const PrintText& print) const {
    results.line(print.text);
    return ExitStatus::done;
  }
  ExitStatus operator()(const CompletionArguments& arguments) const {
    return printCompletion(arguments, results);
  }
  ExitStatus operator()(const ManualArguments& arguments) const { return writeManual(arguments, results); }
  ExitStatus operator()(const BackupArguments& arguments) const {
    return backup(arguments, std::move(environmentSecret), places, results, stop);
  }
  ExitStatus operator()(const SimulationArguments& arguments) const {
    return simulate(arguments, std::move(environmentSecret), places, results, stop);
  }
  ExitStatus operator()(const ShowSettingsArguments& arguments) const {
    return showSettings(arguments, settings, results);
  }
  ExitStatus operator()(const ChooseSettingArguments& arguments) const {
    return chooseSetting(arguments, settings);
  }
  ExitStatus operator()(const DemoArguments& arguments) const { return demo(arguments, results, stop); }
  ExitStatus operator()(const SampleServerArguments& arguments) const {
    return sampleServer(arguments, results, stop);
  }
  ExitStatus operator()(const PackArguments& arguments) const { return pack(arguments, results, stop); }
  ExitStatus operator()(const CollectArguments& arguments) const { return collect(arguments, results, stop); }
  ExitStatus operator()(const RetentionArguments& arguments) const {
    return retain(arguments, results, stop);
  }
  ExitStatus operator()(const CheckArguments& arguments) const {
    return check(arguments, places, results, stop);
  }
  ExitStatus operator()(const RepairArguments& arguments) const { return repair(arguments, results, stop); }
  ExitStatus operator()(const StatsArguments& arguments) const { return stats(arguments, results, stop); }
  ExitStatus operator()(const ShowLockArguments& arguments) const { return showLock(arguments, results); }
  ExitStatus operator()(const UnlockArguments& arguments) const { return unlock(arguments, results, stop); }
  ExitStatus operator()(const BrowseArguments& arguments) const {
    return browse(arguments, places, results, stop);
  }
  ExitStatus operator()(const ListInstancesArguments& arguments) const {
    return listInstances(arguments, places, results);
  }
  ExitStatus operator()(const AddInstanceArguments& arguments) const {
    return addInstance(arguments, std::move(environmentSecret), places, results, stop);
  }
  ExitStatus operator()(const RemoveInstanceArguments& arguments) const {
    return removeInstance(arguments, places, results, stop);
  }
  ExitStatus operator()(const TestInstanceArguments& arguments) const {
    return testInstance(arguments, std::move(environmentSecret), places, results, stop);
  }
  ExitStatus operator()(const MCPToolsArguments& arguments) const { return listTools(arguments, results); }
  ExitStatus operator()(const MCPArguments& arguments) const {
    return serveTools(arguments, places, results, stop);
  }
  ExitStatus operator()(const ListOrgsArguments& arguments) const {
    return listOrgs(arguments, places, results);
  }
  ExitStatus operator()(const AddOrgArguments& arguments) const {
    return addOrg(arguments, std::move(environmentSecret), places, results, stop);
  }
  ExitStatus operator()(const RemoveOrgArguments& arguments) const {
    return removeOrg(arguments, places, results, stop);
  }
  ExitStatus operator()(const RenameOrgArguments& arguments) const {
    return renameOrg(arguments, places, results, stop);
  }
  ExitStatus operator()(const CheckPlaybookArguments& arguments) const {
    return checkPlaybook(arguments, results, stop);
  }
  ExitStatus operator()(const NextPlaybookRunArguments& arguments) const {
    return nextPlaybookRun(arguments, results, stop);
  }
  ExitStatus operator()(const PlanPlaybookArguments& arguments) const {
    return planPlaybook(arguments, places, results, stop);
  }
  ExitStatus operator()(const ApplyPlaybookArguments& arguments) const {
    return applyPlaybook(arguments, places, results, stop);
  }
  ExitStatus operator()(const FetchPlaybookArguments& arguments) const {
    return fetchPlaybook(arguments, results, stop);
  }
  ExitStatus operator()(const PlaybookFromBackupArguments& arguments) const {
    return playbookFromBackup(arguments, results, stop);
  }
  ExitStatus operator()(const GroupRelationsArguments& arguments) const {
    return relateGroup(arguments, places, results, stop);
  }
  ExitStatus operator()(const DeviceRelationsArguments& arguments) const {
    return relateDevice(arguments, places, results, stop);
  }
  ExitStatus operator()(const AttributeRelationsArguments& arguments) const {
    return relateAttribute(arguments, places, results, stop);
  }
  ExitStatus operator()(const ExportServerArguments& arguments) const {
    return exportServer(arguments, places, results, stop);
  }
  ExitStatus operator()(const PatchReportArguments& arguments) const {
    return reportPatches(arguments, places, results, stop);
  }
  ExitStatus operator()(const SectionsArguments& arguments) const { return sections(arguments, results); }
  ExitStatus operator()(const ShowArguments& arguments) const { return show(arguments, results); }
  ExitStatus operator()(const DiffArguments& arguments) const { return diff(arguments, results, stop); }
  ExitStatus operator()(const SearchArguments& arguments) const { return search(arguments, results, stop); }
  ExitStatus operator()(const HistoryArguments& arguments) const { return history(arguments, results, stop); }
  ExitStatus operator()(const ExportArguments& arguments) const {
    return exportObjects(arguments, results, stop);
  }
  ExitStatus operator()(const ListRunsArguments& arguments) const {
    return listRuns(arguments, places, results);
  }
  ExitStatus operator()(const AddRunArguments& arguments) const {
    return addRun(arguments, places, results, stop);
  }
  ExitStatus operator()(const RemoveRunsArguments& arguments) const {
    return removeRuns(arguments, places, results, stop);
  }
  ExitStatus operator()(const RunScheduleArguments& arguments) const {
    return runSchedule(arguments, places, results, stop);
  }
  ExitStatus operator()(const StatusArguments& arguments) const {
    return status(arguments, places, results, stop);
  }
  ExitStatus operator()(const DoctorArguments& arguments) const {
    return examine(arguments, std::move(environmentSecret), places, results, stop);
  }
};

ExitStatus runCommand(const std::vector<std::string>& arguments, Results& results) {
  auto environmentSecret = takeEnvironmentSecret();
  const auto places = HostPlaces::own();
  Settings settings(places);
  const auto invocation = parseCommandLine(arguments, &settings);
  BackupLock::setMachineMark(platform::machineMark());
  const platform::StopSignals signals(static_cast<int>(ExitStatus::cancelled));
  const auto status =
      std::visit(Dispatch{environmentSecret, places, settings, results, signals.token()}, invocation);
  results.requireWritten();
  return status;
}

}  // namespace

int run(const std::vector<std::string>& arguments) {
  platform::standardStreams::reserve();
  Results results;
  try {
    return static_cast<int>(runCommand(arguments, results));
  } catch (...) {
    const auto failure = describe(std::current_exception());
    if (asksForJSON(arguments)) results.line(JSONProgress::lineFor(failure));
    if (!failure.message.empty()) remarks::line("orvik: " + oneLine(failure.message));
    return static_cast<int>(failure.status);
  }
}

}  // namespace orvik::host
