#include "orvik/Playbook/PlanText.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "orvik/Output/TextTable.h"
#include "orvik/Output/VisibleText.h"

namespace orvik::host::planText {

namespace {

using jamf::PlaybookPlan;
using jamf::ResourceOutcome;
using platform::json::textOf;
using Action = PlaybookPlan::Action;
using Ink = Paint::Ink;

std::string shown(const std::optional<std::string>& value) {
  return value ? fmt::format("\"{}\"", *value) : "(none)";
}

Ink inkOf(ResourceOutcome::Case outcome) {
  switch (outcome) {
    case ResourceOutcome::Case::created:
    case ResourceOutcome::Case::updated:
      return Ink::good;
    case ResourceOutcome::Case::deleted:
      return Ink::warning;
    case ResourceOutcome::Case::failed:
      return Ink::bad;
    case ResourceOutcome::Case::unchanged:
      break;
  }
  return Ink::faint;
}

}  // namespace

std::vector<std::string> lines(const PlaybookPlan& plan, const Paint& paint) {
  TextTable table({{.heading = "ACTION"}, {.heading = "TYPE"}, {.heading = "NAME"}});
  for (const auto& entry : plan.entries) {
    table.add({std::string(textOf(entry.action)), entry.typeLabel, entry.name});
    for (const auto& each : entry.differences)
      table.remark(fmt::format("    {}: {} -> {}", each.field, shown(each.onServer), shown(each.declared)),
                   Ink::faint);
    if (entry.message) table.remark("    " + *entry.message, Ink::bad);
  }
  return table.lines(paint);
}

std::string summary(const PlaybookPlan& plan) {
  constexpr std::array<std::pair<Action, std::string_view>, 5> words{{{Action::create, "to create"},
                                                                      {Action::update, "to update"},
                                                                      {Action::delete_, "to delete"},
                                                                      {Action::unchanged, "unchanged"},
                                                                      {Action::failed, "failed"}}};
  std::string text;
  for (const auto& [action, word] : words) {
    const auto count = std::ranges::count(plan.entries, action, &PlaybookPlan::Entry::action);
    if (count != 0) text += fmt::format("{}{} {}", text.empty() ? "" : ", ", count, word);
  }
  return text.empty() ? "No resources declared" : text;
}

std::string line(const jamf::PlaybookRunResult::Entry& entry, const Paint& paint) {
  const auto& outcome = entry.outcome;
  auto text = paint(inkOf(outcome.which), fmt::format("{:<9}", textOf(outcome.which)));
  text += fmt::format("  {}  {}", entry.typeLabel, visibleLine(entry.name));
  return outcome.message.empty() ? text : text + ": " + oneLine(outcome.message);
}

platform::json::Value json(const jamf::PlaybookRunResult::Entry& entry) {
  auto line = platform::json::Value::object(
      {{"typeLabel", entry.typeLabel}, {"name", entry.name}, {"outcome", textOf(entry.outcome.which)}});
  if (!entry.outcome.message.empty()) line.set("message", entry.outcome.message);
  return line;
}

}  // namespace orvik::host::planText
