#include "orvik/Playbook/PlanText.h"
#include "orvik/Playbook/PlaybookCommands.h"
#include "orvik/Playbook/PlaybookServer.h"

namespace orvik::host {

namespace {

ExitStatus statusOf(const jamf::PlaybookPlan& plan) {
  if (plan.hasFailures()) return ExitStatus::failed;
  return plan.hasChanges() ? ExitStatus::pending : ExitStatus::done;
}

}  // namespace

ExitStatus planPlaybook(const PlanPlaybookArguments& arguments, const HostPlaces& places, Results& results,
                        const std::stop_token& stop) {
  const Report report(arguments, results);
  const PlaybookServer server(arguments, places, stop);
  const auto plan = server.plan(report, stop);
  printPlan(plan, report);
  if (arguments.out) plan.write(*arguments.out);
  auto end = planJSON(plan);
  if (arguments.out) end.set("file", *arguments.out);
  report.finished(planText::summary(plan.plan), std::move(end));
  return statusOf(plan.plan);
}

}  // namespace orvik::host
