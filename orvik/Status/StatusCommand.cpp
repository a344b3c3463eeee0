#include "orvik/Status/StatusCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/AllocatedSize.h"
#include "orvik/Backup/BackupSession.h"
#include "orvik/Backup/InstanceBackup.h"
#include "orvik/Folder/KnownFolders.h"
#include "orvik/Instances/InstanceFile.h"
#include "orvik/Instances/KnownInstances.h"
#include "orvik/Output/OutputFile.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/Wording.h"
#include "orvik/Schedule/ScheduleFile.h"
#include "orvik/Status/Metrics.h"
#include "orvik/Status/StatusText.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
using platform::json::Value;

class Status {
 public:
  Status(const StatusArguments& arguments, const HostPlaces& places, const Report& report,
         const std::stop_token& stop)
      : arguments_(arguments), places_(places), report_(report), stop_(stop), root_(arguments.to) {}

  ExitStatus run() {
    for (const auto& warning : known_.warnings()) report_.note(warning);
    if (!InstanceFile::isReadable(InstanceStore(places_.data))) isKnownInPart_ = true;
    readSchedule();
    auto states = known_.all().empty() ? foundFolders() : knownFolders();
    if (states.empty()) throw NotFoundError(nothing());
    tellStrayRuns(states);
    const auto now = platform::now();
    for (auto& state : states) {
      platform::throwIfCancelled(stop_);
      look(state);
      auto verdict = StatusVerdict::of(state, arguments_.maxAge, now);
      instances_.push_back({std::move(state), std::move(verdict)});
    }
    tell(now);
    if (arguments_.metrics) files::atomicWrite(metricsText(instances_, now), *arguments_.metrics);
    report_.requireReader();
    return exitStatus();
  }

 private:
  void readSchedule() {
    const ScheduleStore store(places_.data);
    if (!ScheduleFile::isReadable(store)) {
      report_.note(ScheduleFile::damaged(store));
      isKnownInPart_ = true;
    }
    runs_ = store.load();
  }

  /// Nobody will make a backup for a run whose instance is gone.
  void tellStrayRuns(const std::vector<InstanceState>& states) const {
    const auto strays = std::ranges::count_if(runs_, [&](const ScheduledRun& run) {
      return std::ranges::find(states, run.instanceID, &InstanceState::id) == states.end();
    });
    if (strays != 0)
      report_.note(
          fmt::format("{} in the schedule of an instance that is not known; see orvik schedule list.",
                      wording::counted(strays, "run")));
  }

  std::vector<InstanceState> knownFolders() const {
    std::vector<InstanceState> states;
    for (const auto& instance : known_.all()) {
      auto state = stateOf(instance.descriptor());
      try {
        instanceFor(root_, registered(instance));
      } catch (const tuv::Error& error) {
        state.problem = error.description();
      }
      states.push_back(std::move(state));
    }
    return states;
  }

  std::vector<InstanceState> foundFolders() const {
    std::vector<InstanceState> states;
    for (const auto& instance : BackupRepository::discoverInstances(root_))
      states.push_back(stateOf(instance));
    return states;
  }

  InstanceState stateOf(const InstanceDescriptor& instance) const {
    InstanceState state;
    state.name = instance.name;
    state.id = instance.id;
    state.folder = root_ / instance.slug;
    return state;
  }

  void look(InstanceState& state) const {
    state.lookAt(runs_);
    if (!state.problem.empty()) return;
    state.look();
    try {
      KnownFolders(places_.data).requireFilled(BackupRepository(state.folder));
    } catch (const tuv::Error& error) {
      state.problem = error.description();
    }
    if (arguments_.noSizes || !state.hasFolder) return;
    const auto view = report_.view(Verbosity::brief);
    view->step("Measuring " + state.folder.string());
    state.bytes = files::allocatedSize(state.folder, stop_);
  }

  std::string nothing() const {
    const auto where = files::isDirectory(root_) ? fmt::format("{} holds no folder of one", root_.string())
                                                 : fmt::format("there is no folder {}", root_.string());
    return fmt::format("No instance is registered, and {}.", where);
  }

  void tell(platform::Date now) const {
    for (const auto& line : statusText::table(instances_, now, report_.paint())) report_.text(line);
    for (const auto& each : instances_) report_.record(statusText::json(each, now));
    report_.record(Value::object({{"event", "finished"},
                                  {"instances", static_cast<std::int64_t>(instances_.size())},
                                  {"overdue", static_cast<std::int64_t>(overdueCount())}}));
  }

  std::ptrdiff_t overdueCount() const {
    return std::ranges::count_if(instances_, [](const auto& each) { return each.verdict.isOverdue; });
  }

  ExitStatus exitStatus() const {
    if (overdueCount() != 0) return ExitStatus::overdue;
    return isKnownInPart_ ? ExitStatus::failed : ExitStatus::done;
  }

  const StatusArguments& arguments_;
  const HostPlaces& places_;
  const Report& report_;
  const std::stop_token& stop_;
  const std::filesystem::path root_;
  const KnownInstances known_{places_};
  std::vector<ScheduledRun> runs_;
  std::vector<JudgedInstance> instances_;
  bool isKnownInPart_ = false;  ///< a file that names instances or runs can't be read
};

}  // namespace

ExitStatus status(const StatusArguments& arguments, const HostPlaces& places, Results& results,
                  const std::stop_token& stop) {
  if (arguments.metrics) requireOutputFile("--metrics", *arguments.metrics);
  const Report report(arguments, results);
  return Status(arguments, places, report, stop).run();
}

}  // namespace orvik::host
