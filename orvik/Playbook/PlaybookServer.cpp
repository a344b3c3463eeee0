#include "orvik/Playbook/PlaybookServer.h"

#include <fmt/format.h>

#include <algorithm>

#include "JamfCore/Automation/PlaybookRunner.h"
#include "JamfCore/Automation/PlaybookYAML.h"
#include "Platform/Crypto/Digest.h"
#include "orvik/Output/JSONRecord.h"
#include "orvik/Output/Wording.h"
#include "orvik/Playbook/PlanText.h"
#include "orvik/Playbook/PlaybookFile.h"

namespace orvik::host {

using platform::json::Value;

PlaybookServer::PlaybookServer(const PlaybookServerArguments& arguments, const HostPlaces& places,
                               const std::stop_token& stop) {
  const auto text = readPlaybookFile(arguments.file, stop);
  digest_ = platform::sha256Hex(text);
  playbook_ = jamf::PlaybookYAML::decode(text);
  organization_ = chosenOrganization(arguments, places);
}

SavedPlan PlaybookServer::plan(const Report& report, const std::stop_token& stop) const {
  const auto view = report.view(Verbosity::brief);
  const auto count = static_cast<std::int64_t>(playbook_.resources.size());
  view->step(fmt::format("Comparing {} with {}", wording::counted(count, "resource"),
                         organization_.record.baseURLString));
  SavedPlan plan;
  plan.plannedAt = platform::now();
  plan.organization = organization_.record.name;
  plan.baseURL = organization_.record.baseURLString;
  plan.playbook = playbook_.name;
  plan.playbookSHA256 = digest_;
  plan.plan = jamf::PlaybookRunner{client()}.plan(playbook_, stop);
  return plan;
}

void printPlan(const SavedPlan& plan, const Report& report) {
  report.lines(planText::lines(plan.plan, report.paint()), {});
  for (const auto& entry : plan.plan.entries) report.event("planned", jsonOf(entry));
}

Value planJSON(const SavedPlan& plan) {
  auto line = Value::object(
      {{"playbook", plan.playbook}, {"organization", plan.organization}, {"baseURL", plan.baseURL}});
  for (const auto& [action, name] : enumTexts(jamf::PlaybookPlan::Action()))
    line.set(name, std::ranges::count(plan.plan.entries, action, &jamf::PlaybookPlan::Entry::action));
  return line;
}

}  // namespace orvik::host
