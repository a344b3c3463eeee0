#include "SampleServer/PatchTitles.h"

#include <algorithm>

#include "SampleServer/Draw.h"
#include "SampleServer/ListQuery.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {
namespace {

using platform::json::Value;

constexpr std::string_view reportFields[] = {
    "computerName", "deviceId",       "username", "operatingSystemVersion",
    "buildingName", "departmentName", "version"};

}  // namespace

PatchTitles::PatchTitles(const Fleet& fleet, const Dialect& dialect)
    : fleet_(fleet),
      dialect_(dialect),
      titles_(*sectionNumber("patchSoftwareTitles")),
      computers_(*sectionNumber("computers")) {}

std::vector<Route> PatchTitles::routes() {
  using Handler = std::optional<Answer> (PatchTitles::*)(const Call&);
  std::vector<Route> made;
  const auto add = [&](std::string_view pattern, Handler handler) {
    made.push_back({pattern, "patchSoftwareTitles", [this, handler](const Call& call) {
                      if (call.segments[1] == "v3" && !dialect_.patchV3) refuse(call, 404);
                      if (!call.is("GET")) refuse(call, 405);
                      return (this->*handler)(call);
                    }});
  };
  add("api/v2/patch-software-title-configurations/*/patch-summary", &PatchTitles::serveSummary);
  add("api/v2/patch-software-title-configurations/*/patch-report", &PatchTitles::serveReport);
  add("api/v3/patch-software-title-configurations", &PatchTitles::serveList);
  add("api/v3/patch-software-title-configurations/*", &PatchTitles::serveTitle);
  add("api/v3/patch-software-title-configurations/*/patch-summary", &PatchTitles::serveSummary);
  add("api/v3/patch-software-title-configurations/*/patch-report", &PatchTitles::serveReport);
  return made;
}

Value PatchTitles::title(const Call& call) const {
  auto found = fleet_.recordValue(titles_, call.segments[3]);
  if (!found) refuse(call, 404);
  return *std::move(found);
}

std::optional<Answer> PatchTitles::serveList(const Call&) { return proAnswer(fleet_.bareArray(titles_)); }

std::optional<Answer> PatchTitles::serveTitle(const Call& call) { return proAnswer(title(call).text()); }

PatchTitles::Follows PatchTitles::follows(std::string_view title, std::string_view computer) const {
  Draw draw(mix(fleet_.seed() ^ hashText(title)) ^ hashText(computer));
  if (draw.chance(40)) return Follows::no;
  if (draw.chance(5)) return Follows::unknown;
  return draw.chance(25) ? Follows::older : Follows::latest;
}

std::string PatchTitles::versionOf(Follows follows, const Value& title) const {
  if (follows == Follows::unknown) return "UNKNOWN";
  return follows == Follows::older ? "0.9" : textOf(title.find("packages")->array_()->front(), "version");
}

std::optional<Answer> PatchTitles::serveSummary(const Call& call) {
  const Value shown = title(call);
  const std::string& id = call.segments[3];
  const std::vector<std::string> computers = fleet_.ids(computers_);
  const auto count = [&](Follows wanted) {
    return std::ranges::count_if(computers, [&](const auto& one) { return follows(id, one) == wanted; });
  };
  return proAnswer(Value::object({{"softwareTitleId", id},
                                  {"title", textOf(shown, "softwareTitleName")},
                                  {"latestVersion", versionOf(Follows::latest, shown)},
                                  {"releaseDate", "2026-07-01T00:00:00Z"},
                                  {"upToDate", count(Follows::latest)},
                                  {"outOfDate", count(Follows::older) + count(Follows::unknown)},
                                  {"onDashboard", false},
                                  {"softwareTitleConfigurationId", id}})
                       .text());
}

std::optional<Answer> PatchTitles::serveReport(const Call& call) {
  const Value shown = title(call);
  const std::string& id = call.segments[3];
  const bool isV3 = call.segments[1] == "v3";
  std::vector<std::string> computers = fleet_.ids(computers_);
  std::erase_if(computers, [&](const std::string& one) { return follows(id, one) == Follows::no; });
  const auto nameOf = [&](std::string_view section, const Value& place, std::string_view key) {
    const auto name = fleet_.currentName(*sectionNumber(section), textOf(place, key));
    return name ? Value(*name) : Value();
  };
  return ListQuery(call.request, {reportFields, reportFields})
      .answer(computers, [&](const std::string& one) -> std::optional<Value> {
        const auto computer = fleet_.recordValue(computers_, one);
        if (!computer) return std::nullopt;
        const Value& place = *objectAt(*computer, "userAndLocation");
        return Value::object(
            {{"computerName", fieldText(*computer, "general.name")},
             {"deviceId", one},
             {"username", textOf(place, "username")},
             {"operatingSystemVersion", fieldText(*computer, "operatingSystem.version")},
             {isV3 ? "lastCheckIn" : "lastContactTime", fieldText(*computer, "general.lastContactTime")},
             {"buildingName", nameOf("buildings", place, "buildingId")},
             {"departmentName", nameOf("departments", place, "departmentId")},
             {"siteName", Value()},
             {"version", versionOf(follows(id, one), shown)}});
      });
}

}  // namespace sample
