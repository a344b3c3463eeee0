#include "orvik/Doctor/DoctorCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "orvik/Doctor/FolderExam.h"
#include "orvik/Doctor/ServerExam.h"
#include "orvik/Instances/ServerChoice.h"
#include "orvik/Output/Report.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using Status = Check::Status;

void tell(const std::vector<Check>& checks, const Report& report) {
  for (const auto& check : checks) {
    report.text(checkText::page(check, report.paint()));
    report.record(checkText::json(check));
  }
}

std::int64_t count(const std::vector<Check>& checks, Status status) {
  return std::ranges::count(checks, status, &Check::status);
}

void tellEnd(const std::vector<Check>& checks, ExitStatus end, const Report& report) {
  const auto warnings = count(checks, Status::warning), failures = count(checks, Status::failed);
  const auto summary =
      failures != 0   ? fmt::format("A backup would fail: {} failed.", wording::counted(failures, "check"))
      : warnings != 0 ? fmt::format("A backup can be made, with {}.", wording::counted(warnings, "warning"))
                      : std::string("A backup can be made.");
  report.finished(summary, Value::object({{"ok", count(checks, Status::ok)},
                                          {"warnings", warnings},
                                          {"failed", failures},
                                          {"exit", static_cast<int>(end)}}));
}

}  // namespace

ExitStatus examine(const DoctorArguments& arguments, platform::SecretString environmentSecret,
                   const HostPlaces& places, Results& results, const std::stop_token& stop) {
  const Report report(arguments, results);
  const auto server = chosenServer(arguments.server, places);
  auto found = [&] {
    const auto view = report.view(Verbosity::brief);
    return examineServer(server, arguments, std::move(environmentSecret), *view, stop);
  }();
  tell(found.checks, report);

  if (arguments.to) {
    const auto checks = examineFolder(*arguments.to, server, places);
    tell(checks, report);
    found.checks.insert(found.checks.end(), checks.begin(), checks.end());
  }
  auto end = found.obstacle.value_or(ExitStatus::done);
  if (end == ExitStatus::done && count(found.checks, Status::failed) != 0) end = ExitStatus::failed;
  tellEnd(found.checks, end, report);
  report.requireReader();
  return end;
}

}  // namespace orvik::host
