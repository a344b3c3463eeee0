#include "orvik/Doctor/ServerFindings.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <iterator>

#include "OrvikCore/Jamf/ServerFacts.h"
#include "orvik/Doctor/PrivilegeTicks.h"
#include "orvik/Output/Wording.h"

namespace orvik::host {

namespace {

using platform::json::Value;
using std::chrono::seconds;
using Result = SectionProbe::Result;
using Probes = std::vector<SectionProbe>;
using State = PrivilegeTick::State;

constexpr seconds unusedLifetime{60};       // a token that ends sooner is never used twice
constexpr seconds tolerableDifference{60};  // of two clocks

constexpr const char* roleAdvice =
    "Add them to the API role of the client, on the server under Settings, API roles and clients.";

std::string counted(std::size_t count, std::string_view noun) {
  return wording::counted(static_cast<std::int64_t>(count), noun);
}

Probes with(const Probes& probes, Result result) {
  Probes found;
  std::ranges::copy_if(probes, std::back_inserter(found),
                       [&](const SectionProbe& probe) { return probe.result == result; });
  return found;
}

Value json(const SectionProbe& probe) {
  auto record = Value::object({{"section", probe.section->id}, {"path", probe.path}});
  if (!probe.problem.empty()) record.set("problem", probe.problem);
  if (const auto& deprecation = probe.deprecation) {
    if (!deprecation->since.empty()) record.set("deprecation", deprecation->since);
    if (deprecation->until) record.set("sunset", *deprecation->until);
  }
  return record;
}

using LineOf = std::string (*)(const SectionProbe& probe);

/// The sections of some probes, a line and a record for each.
Check withSections(Check check, const Probes& probes, LineOf lineOf) {
  Value::Array records;
  for (const auto& probe : probes) {
    check.lines.push_back(lineOf(probe));
    records.push_back(json(probe));
  }
  check.details.set("sections", Value::array(std::move(records)));
  return check;
}

Check versionCheck(const ServerFindings& found) {
  if (!found.version) return Check::ok("version", "The server does not tell its version to this client.");
  auto check = Check::ok("version", fmt::format("The server runs Jamf Pro {}.", *found.version));
  check.details.set("jamfProVersion", *found.version);
  return check;
}

Check tokenCheck(seconds lifetime) {
  const auto life = wording::duration(std::max(lifetime, seconds(0)));
  auto check = Check::ok("token", fmt::format("A token lives {}.", life));
  if (lifetime <= unusedLifetime)
    check = Check::warning("token",
                           fmt::format("A token lives {} only, so that every request costs a new one.", life),
                           "Set the access token lifetime of the API client to half an hour, 1800 seconds.");
  check.details.set("seconds", lifetime.count());
  return check;
}

Check clockCheck(const std::optional<seconds>& difference) {
  if (!difference) return Check::ok("clock", "The server does not tell its time.");
  const auto apart = std::chrono::abs(*difference);
  auto check = Check::ok("clock", fmt::format("The clocks of the server and of this machine are {} apart.",
                                              wording::duration(apart)));
  if (apart >= tolerableDifference)
    check = Check::warning(
        "clock",
        fmt::format("The server's clock is {} {} this machine's.", wording::duration(apart),
                    *difference > seconds(0) ? "ahead of" : "behind"),
        "Let both follow a time server: a backup is named, kept and deleted by this machine's clock.");
  check.details.set("differenceSeconds", difference->count());
  return check;
}

std::string_view box(State state) {
  return state == State::held ? "[x]" : state == State::missing ? "[ ]" : "[?]";
}

std::string titles(const PrivilegeTick& tick) {
  std::vector<std::string_view> all;
  for (const auto* section : tick.sections) all.push_back(section->title);
  return fmt::format("{}", fmt::join(all, ", "));
}

Value json(const PrivilegeTick& tick) {
  Value::Array sections;
  for (const auto* section : tick.sections) sections.push_back(section->id);
  auto line = Value::object({{"privilege", tick.privilege}});
  if (tick.state != State::unknown) line.set("held", tick.state == State::held);
  return line.set("sections", Value::array(std::move(sections)));
}

Check privilegeCheck(const ServerFindings& found) {
  const auto ticks = privilegeTicks(found.probes, found.privileges);
  const auto count = [&](State state) {
    return static_cast<std::size_t>(std::ranges::count(ticks, state, &PrivilegeTick::state));
  };
  const auto missing = count(State::missing), unknown = count(State::unknown);
  auto check = Check::ok("privileges", fmt::format("The client holds all {} that a backup needs.",
                                                   counted(ticks.size(), "privilege")));
  if (unknown != 0)
    check.text = fmt::format(
        "The client holds {} of the {} that a backup needs; the server does not tell "
        "of the others.",
        count(State::held), counted(ticks.size(), "privilege"));
  if (missing != 0)
    check = Check::warning("privileges",
                           fmt::format("{} of the {} that a backup needs {} missing.", missing,
                                       counted(ticks.size(), "privilege"), missing == 1 ? "is" : "are"),
                           roleAdvice);
  Value::Array records;
  for (const auto& tick : ticks) {
    records.push_back(json(tick));
    if (missing + unknown != 0)
      check.lines.push_back(fmt::format("{} {}{}", box(tick.state), tick.privilege,
                                        tick.state == State::missing ? ", for: " + titles(tick) : ""));
  }
  check.details.set("privileges", Value::array(std::move(records)));
  return check;
}

Check changeCheck(const std::optional<std::vector<std::string>>& privileges) {
  if (!privileges)
    return Check::warning(
        "changes", "The server does not tell whether the client may change something there.",
        "Look at its API role: a backup needs privileges that begin with Read, and no other.");
  std::vector<std::string> changing;
  std::ranges::copy_if(*privileges, std::back_inserter(changing), std::not_fn(ServerFacts::isReading));
  auto check = Check::ok("changes", "The client may read and nothing else.");
  if (!changing.empty())
    check = Check::warning(
        "changes",
        fmt::format("{} of the client {} changes, and a backup needs none of them.",
                    counted(changing.size(), "privilege"), changing.size() == 1 ? "allows" : "allow"),
        "Take them from the API role, or keep a client for backups alone.");
  check.lines = changing;
  check.details.set("privileges", Value::array(Value::Array(changing.begin(), changing.end())));
  return check;
}

/// Whether there is something to back up.
Check answerCheck(const Probes& probes) {
  const auto answered = with(probes, Result::answered).size();
  if (answered == 0)
    return Check::failed("sections", "Not one section can be read: a backup would be empty.",
                         "What follows says why.");
  return Check::ok("sections",
                   fmt::format("{} of {} can be read.", answered, counted(probes.size(), "section")));
}

Check pathCheck(const Probes& probes) {
  const auto missing = with(probes, Result::notFound);
  if (missing.empty()) return Check::ok("paths", "The server knows the paths of all sections.");
  return withSections(
      Check::warning("paths",
                     fmt::format("The server knows no path for {}.", counted(missing.size(), "section")),
                     "A backup leaves them out. That is right for what is not set up or not bought; what "
                     "earlier backups hold has been retired, and needs a newer Orvik."),
      missing, [](const auto& probe) { return fmt::format("{} ({})", probe.section->title, probe.path); });
}

void addRefusals(std::vector<Check>& checks, const Probes& probes) {
  const auto refused = with(probes, Result::notPermitted);
  if (refused.empty()) return;
  checks.push_back(withSections(
      Check::warning("refusals",
                     fmt::format("The server refuses {} to the client.", counted(refused.size(), "section")),
                     "A backup leaves them out. Compare the privileges above; a client that may see one "
                     "site alone is refused too."),
      refused, [](const auto& probe) {
        return fmt::format("{} ({})", probe.section->title, probe.section->privilege);
      }));
}

void addFailures(std::vector<Check>& checks, const Probes& probes) {
  const auto failures = with(probes, Result::failed);
  if (failures.empty()) return;
  checks.push_back(withSections(
      Check::warning("failures", fmt::format("{} can't be read.", counted(failures.size(), "section")),
                     "A backup goes on without them, and ends with warnings."),
      failures,
      [](const auto& probe) { return fmt::format("{}: {}", probe.section->title, probe.problem); }));
}

void addDeprecations(std::vector<Check>& checks, const Probes& probes) {
  Probes announced;
  std::ranges::copy_if(probes, std::back_inserter(announced),
                       [](const SectionProbe& probe) { return probe.deprecation.has_value(); });
  if (announced.empty()) return;
  checks.push_back(withSections(
      Check::warning(
          "deprecations",
          fmt::format("The server will retire the paths of {}.", counted(announced.size(), "section")),
          "They can be read for now; look for a newer Orvik before they go."),
      announced, [](const auto& probe) {
        const auto& until = probe.deprecation->until;
        return fmt::format("{} ({}){}", probe.section->title, probe.path, until ? ", until " + *until : "");
      }));
}

}  // namespace

std::vector<Check> ServerFindings::checks() const {
  std::vector<Check> all{versionCheck(*this)};
  if (tokenLifetime) all.push_back(tokenCheck(*tokenLifetime));
  all.push_back(clockCheck(clockDifference));
  all.push_back(answerCheck(probes));
  all.push_back(privilegeCheck(*this));
  all.push_back(changeCheck(privileges));
  all.push_back(pathCheck(probes));
  addRefusals(all, probes);
  addFailures(all, probes);
  addDeprecations(all, probes);
  return all;
}

}  // namespace orvik::host
