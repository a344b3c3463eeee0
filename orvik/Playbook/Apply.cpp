#include <fmt/format.h>

#include "JamfCore/Automation/PlaybookRunner.h"
#include "Platform/Concurrency/Cancellation.h"
#include "orvik/Output/Question.h"
#include "orvik/Playbook/PlanText.h"
#include "orvik/Playbook/PlaybookCommands.h"
#include "orvik/Playbook/PlaybookServer.h"

namespace orvik::host {

namespace {

using jamf::PlaybookRunResult;

/// Does what is planned, and tells of each resource when it is done.
PlaybookRunResult run(const PlaybookServer& server, const Report& report, const std::stop_token& stop) {
  const auto view = report.view(Verbosity::brief);
  const auto& playbook = server.playbook();
  view->step(fmt::format("Applying {}", playbook.name));
  std::size_t done = 0;
  try {
    return jamf::PlaybookRunner{server.client()}.run(playbook, false, stop,
                                                     [&](const PlaybookRunResult::Entry& entry) {
                                                       ++done;
                                                       view->aside([&] {
                                                         report.text(planText::line(entry, report.paint()));
                                                         report.event("applied", planText::json(entry));
                                                       });
                                                     });
  } catch (const platform::CancellationError&) {
    view->aside([&] {
      report.note(fmt::format("Stopped after {} of {} resources. What was done stays done.", done,
                              playbook.resources.size()));
    });
    throw;
  }
}

}  // namespace

ExitStatus applyPlaybook(const ApplyPlaybookArguments& arguments, const HostPlaces& places, Results& results,
                         const std::stop_token& stop) {
  if (!arguments.yes && !question::canAsk())
    throw UsageError("Without a terminal, --yes is needed to apply a playbook.");
  const Report report(arguments, results);
  const auto saved = arguments.plan ? std::optional(SavedPlan::read(*arguments.plan)) : std::nullopt;
  const PlaybookServer server(arguments, places, stop);
  const auto plan = server.plan(report, stop);
  if (saved) saved->requireSame(plan);
  printPlan(plan, report);

  const auto finish = [&](const std::string& summary, bool isApplied) {
    report.finished(summary, planJSON(plan).set("applied", isApplied).set("summary", summary));
  };
  if (!plan.plan.hasChanges()) {
    finish(planText::summary(plan.plan), false);
    return plan.plan.hasFailures() ? ExitStatus::failed : ExitStatus::done;
  }
  const auto what =
      fmt::format("{}. Do that on {} ({})?", planText::summary(plan.plan), plan.organization, plan.baseURL);
  if (!arguments.yes && !question::confirms(what, stop)) {
    finish("Nothing was changed.", false);
    return ExitStatus::failed;
  }
  const auto result = run(server, report, stop);
  finish(result.summary(), true);
  return result.succeeded() ? ExitStatus::done : ExitStatus::failed;
}

}  // namespace orvik::host
