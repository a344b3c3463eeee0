#include "orvik/Playbook/SavedPlan.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <vector>

#include "Platform/Files/Files.h"
#include "orvik/ExitStatus.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
namespace json = platform::json;

/// As much as a playbook may have, for each of its objects is named once and with what differs.
constexpr std::uint64_t sizeLimit = std::uint64_t{256} << 20;
/// So many resources are named.
constexpr std::size_t shownDrifts = 5;

/// "Policy "Install Office" (unchanged was planned, now update)".
std::vector<std::string> drifts(const jamf::PlaybookPlan& planned, const jamf::PlaybookPlan& now) {
  std::vector<std::string> found;
  const auto count = std::min(planned.entries.size(), now.entries.size());
  for (std::size_t i = 0; i < count; ++i) {
    const auto &before = planned.entries[i], &after = now.entries[i];
    if (before == after) continue;
    const auto name = fmt::format("{} \"{}\"", after.typeLabel, after.name);
    found.push_back(before.action == after.action
                        ? fmt::format("{} (differs in another way)", name)
                        : fmt::format("{} ({} was planned, now {})", name, json::textOf(before.action),
                                      json::textOf(after.action)));
  }
  return found;
}

[[noreturn]] void refuse(const std::string& what) {
  throw tuv::Error(what + " Make a new plan with orvik playbook plan.");
}

}  // namespace

void SavedPlan::write(const std::filesystem::path& file) const {
  files::atomicWrite(json::Encoder(json::Rendering::pretty).encode(*this), file);
}

SavedPlan SavedPlan::read(const std::filesystem::path& file) {
  if (!files::exists(file)) throw NotFoundError(fmt::format("There is no file {}.", file.string()));
  platform::Bytes bytes;
  files::read(file, bytes, sizeLimit);
  try {
    auto plan = json::Decoder().decode<SavedPlan>(bytes);
    if (plan.format == currentFormat) return plan;
  } catch (const platform::Error& error) {
    throw UsageError(
        fmt::format("{} is no plan of orvik playbook plan: {}", file.string(), error.description()));
  }
  throw UsageError(fmt::format("{} is a plan of a newer release.", file.string()));
}

void SavedPlan::requireSame(const SavedPlan& now) const {
  if (organization != now.organization)
    refuse(fmt::format("The plan was made for the organization {}, not for {}.", organization,
                       now.organization));
  if (baseURL != now.baseURL)
    refuse(fmt::format("The plan was made for {} at {}, which is at {} now.", organization, baseURL,
                       now.baseURL));
  if (playbookSHA256 != now.playbookSHA256)
    refuse(fmt::format("The playbook {} has changed since it was planned.", now.playbook));
  if (plan == now.plan) return;
  auto found = drifts(plan, now.plan);
  if (found.empty()) refuse("The plan does not name the resources of the playbook.");
  const auto rest = found.size() - std::min(found.size(), shownDrifts);
  found.resize(found.size() - rest);
  refuse(fmt::format("The server has changed since the plan was made: {}{}.", fmt::join(found, ", "),
                     rest == 0 ? "" : fmt::format(" and {} more", rest)));
}

}  // namespace orvik::host
