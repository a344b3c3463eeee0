#include "orvik/Doctor/PrivilegeTicks.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "Platform/Locale/Text.h"

namespace orvik::host {

namespace {

using platform::locale::lowercased;
using State = PrivilegeTick::State;
using Result = SectionProbe::Result;

/// The catalog writes for people: "Read A, Read B", "Read A (where) / or something else", "(any)".
std::vector<std::string> privilegesOf(const SectionDefinition& section) {
  std::vector<std::string> found;
  for (auto rest = section.privilege; !rest.empty();) {
    const auto end = std::min(rest.find(','), rest.size());
    auto word = rest.substr(0, end);
    word = platform::locale::trimmed(word.substr(0, word.find('(')));
    if (!word.empty()) found.emplace_back(word);
    rest.remove_prefix(std::min(end + 1, rest.size()));
  }
  return found;
}

std::vector<PrivilegeTick> needed() {
  std::vector<PrivilegeTick> ticks;
  for (const auto& section : SectionCatalog::all())
    for (auto& privilege : privilegesOf(section)) {
      auto tick = std::ranges::find(ticks, privilege, &PrivilegeTick::privilege);
      if (tick == ticks.end())
        tick = ticks.insert(ticks.end(), PrivilegeTick{std::move(privilege), State::unknown, {}});
      tick->sections.push_back(&section);
    }
  return ticks;
}

bool contains(const std::vector<std::string>& privileges, const std::string& wanted) {
  return std::ranges::any_of(privileges,
                             [&](const auto& each) { return lowercased(each) == lowercased(wanted); });
}

bool isAny(const std::vector<SectionProbe>& probes, const PrivilegeTick& tick, Result result) {
  return std::ranges::any_of(probes, [&](const SectionProbe& probe) {
    return probe.result == result && std::ranges::find(tick.sections, probe.section) != tick.sections.end();
  });
}

/// A section that needs several may answer with a part of its objects.
bool isAlone(const PrivilegeTick& tick) {
  return std::ranges::all_of(tick.sections, [](const auto* each) { return privilegesOf(*each).size() == 1; });
}

}  // namespace

std::vector<std::string> privilegesForBackup() {
  std::vector<std::string> all;
  for (auto& tick : needed()) all.push_back(std::move(tick.privilege));
  return all;
}

std::vector<PrivilegeTick> privilegeTicks(const std::vector<SectionProbe>& probes,
                                          const std::optional<std::vector<std::string>>& told) {
  auto ticks = needed();
  for (auto& tick : ticks) {
    const bool isRefused = isAny(probes, tick, Result::notPermitted);
    if (told)
      tick.state = contains(*told, tick.privilege) ? State::held : State::missing;
    else if (isRefused)
      tick.state = State::missing;
    const bool isProof = isAlone(tick) || !told;
    if (isProof && isAny(probes, tick, Result::answered) && !isRefused) tick.state = State::held;
  }
  return ticks;
}

}  // namespace orvik::host
