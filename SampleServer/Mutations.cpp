#include "SampleServer/Mutations.h"

#include <fmt/format.h>

#include "SampleServer/Draw.h"

namespace sample {
namespace {

constexpr std::string_view usual[] = {"policies",   "computerConfigurationProfiles",
                                      "scripts",    "computerGroups",
                                      "users",      "packages",
                                      "categories", "mobileDeviceGroups",
                                      "buildings",  "restrictedSoftware",
                                      "printers"};

std::string mutateOne(Fleet& fleet, Draw& draw) {
  const std::string_view sectionID = usual[draw.below(std::size(usual))];
  const std::size_t section = *sectionNumber(sectionID);
  const std::uint64_t deed = draw.below(10);
  const std::vector<std::string> ids = fleet.ids(section);
  if (deed < 2 || ids.empty()) {
    const std::string id = *fleet.add(section);
    return fmt::format("Added {} {} \"{}\"", sectionID, id, *fleet.currentName(section, id));
  }
  const std::string& id = ids[draw.below(ids.size())];
  const std::string name = *fleet.currentName(section, id);
  if (deed < 4) {
    fleet.remove(section, id);
    return fmt::format("Removed {} {} \"{}\"", sectionID, id, name);
  }
  if (deed < 6) {
    const std::string renamed = name + " (neu)";
    fleet.rename(section, id, renamed);
    return fmt::format("Renamed {} {} \"{}\" to \"{}\"", sectionID, id, name, renamed);
  }
  fleet.change(section, id);
  return fmt::format("Changed {} {} \"{}\"", sectionID, id, name);
}

}  // namespace

std::vector<std::string> mutate(Fleet& fleet, std::size_t count, std::uint64_t seed) {
  Draw draw(mix(seed));
  std::vector<std::string> deeds;
  deeds.reserve(count);
  for (std::size_t i = 0; i < count; ++i) deeds.push_back(mutateOne(fleet, draw));
  return deeds;
}

}  // namespace sample
