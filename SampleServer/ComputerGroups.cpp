#include "SampleServer/ComputerGroups.h"

#include <fmt/format.h>

#include <algorithm>

#include "Platform/JSON/View.h"
#include "SampleServer/ListQuery.h"
#include "SampleServer/ProBody.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {
namespace {

using platform::json::Value;
using platform::json::View;

constexpr std::string_view fields[] = {"id", "name", "siteId"};

/// A member of a criterion in both interfaces.
struct CriterionMember {
  std::string_view pro;
  std::string_view classic;
  MemberType type;
};
constexpr CriterionMember criterionMembers[] = {
    {"name", "name", MemberType::text},
    {"priority", "priority", MemberType::integer},
    {"andOr", "and_or", MemberType::text},
    {"searchType", "search_type", MemberType::text},
    {"value", "value", MemberType::text},
    {"openingParen", "opening_paren", MemberType::flag},
    {"closingParen", "closing_paren", MemberType::flag},
};

Value readCriterion(const Value& sent, std::size_t place) {
  const auto refuseIt = [&](std::string_view problem) {
    refuseField(fmt::format("Criterion {}: {}", place, problem), "criteria");
  };
  if (!sent.object_()) refuseIt("it is no object");
  Value made = Value::object();
  for (const auto& [pro, classic, type] : criterionMembers) {
    const Value* member = readMember(sent, pro, type);
    if (!member && type != MemberType::flag) refuseIt(fmt::format("'{}' is missing", pro));
    made.set(classic, member ? *member : Value(false));
  }
  if (textOf(made, "name").empty() || textOf(made, "search_type").empty()) refuseIt("a text is empty");
  const std::string joint = textOf(made, "and_or");
  if (joint != "and" && joint != "or") refuseIt("'andOr' is neither 'and' nor 'or'");
  if (*made.find("priority") != Value(place)) refuseIt("priorities have to count up from 0");
  return made;
}

Value readCriteria(const Value& body) {
  Value made = Value::array();
  const Value* sent = body.find("criteria");
  if (!sent || sent->isNull()) return made;
  if (!sent->array_()) refuseField("The value of 'criteria' has the wrong type", "criteria");
  for (const Value& criterion : *sent->array_()) made.append(readCriterion(criterion, made.array_()->size()));
  return made;
}

Value shownCriteria(const Value& group) {
  Value made = Value::array();
  for (const Value& criterion : *group.find("criteria")->array_()) {
    Value shown = Value::object();
    for (const auto& [pro, classic, type] : criterionMembers) shown.set(pro, *criterion.find(classic));
    made.append(std::move(shown));
  }
  return made;
}

std::string siteID(const Value& group) { return plainText(objectAt(group, "site")->find("id")); }

/// Whether a scope speaks of the group, in what it includes or excludes.
bool names(View scope, std::int64_t group) {
  const auto has = [&](std::optional<View> owner) {
    const auto list = owner ? (*owner)["computer_groups"] : std::nullopt;
    if (!list) return false;
    for (const View one : list->elements()) {
      if (one["id"]->int64() == group) return true;
    }
    return false;
  };
  return has(scope) || has(scope["exclusions"]);
}

}  // namespace

ComputerGroups::ComputerGroups(Fleet& fleet, const Dialect& dialect)
    : fleet_(fleet),
      dialect_(dialect),
      groups_(*sectionNumber("computerGroups")),
      computers_(*sectionNumber("computers")) {}

std::vector<Route> ComputerGroups::routes() {
  std::vector<Route> made;
  const auto add = [&](std::string_view pattern, Kind kind, Handler handler) {
    made.push_back({pattern, "computerGroups", [this, kind, handler](const Call& call) {
                      if (call.segments[1] == "v3" && !dialect_.groupsV3) refuse(call, 404);
                      return (this->*handler)(kind, call);
                    }});
  };
  add("api/v3/computer-groups/smart-groups", Kind::smart, &ComputerGroups::serveCollection);
  add("api/v2/computer-groups/smart-groups", Kind::smart, &ComputerGroups::serveCollection);
  add("api/v3/computer-groups/smart-groups/*", Kind::smart, &ComputerGroups::serveObject);
  add("api/v2/computer-groups/smart-groups/*", Kind::smart, &ComputerGroups::serveObject);
  add("api/v3/computer-groups/static-groups", Kind::fixed, &ComputerGroups::serveCollection);
  add("api/v2/computer-groups/static-groups", Kind::fixed, &ComputerGroups::serveCollection);
  add("api/v3/computer-groups/static-groups/*", Kind::fixed, &ComputerGroups::serveObject);
  add("api/v2/computer-groups/static-groups/*", Kind::fixed, &ComputerGroups::serveObject);
  add("api/v3/computer-groups/smart-group-membership/*", Kind::smart, &ComputerGroups::serveMembership);
  add("api/v2/computer-groups/smart-group-membership/*", Kind::smart, &ComputerGroups::serveMembership);
  return made;
}

std::vector<std::string> ComputerGroups::ids(Kind kind) const {
  std::vector<std::string> found = fleet_.ids(groups_);
  std::erase_if(found, [&](const std::string& id) {
    return fleet_.isSmartGroup(groups_, id) != (kind == Kind::smart);
  });
  return found;
}

std::optional<Value> ComputerGroups::group(Kind kind, std::string_view id) const {
  const auto record = fleet_.recordValue(groups_, id);
  if (!record) return std::nullopt;
  const Value& found = *record->find("computer_group");
  const bool isSmart = *found.find("is_smart") == Value(true);
  return isSmart == (kind == Kind::smart) ? std::optional(found) : std::nullopt;
}

Value ComputerGroups::summary(Kind kind, const Value& group) const {
  const Value* description = group.find("description");
  return Value::object(
      {{"id", plainText(group.find("id"))},
       {"siteId", siteID(group)},
       {"name", *group.find("name")},
       {"description", description ? *description : Value("")},
       {kind == Kind::smart ? "membershipCount" : "count", group.find("computers")->array_()->size()}});
}

Value ComputerGroups::detail(Kind kind, const Value& group) const {
  const bool isSmart = kind == Kind::smart;
  Value made = Value::object();
  if (!isSmart || dialect_.smartGroupTellsID) made.set("id", plainText(group.find("id")));
  made.set("name", *group.find("name"));
  made.set("description", textOf(group, "description"));
  if (isSmart) made.set("criteria", shownCriteria(group));
  made.set("siteId", siteID(group));
  if (!isSmart && dialect_.staticGroupTellsMembers) {
    Value members = Value::array();
    for (const Value& member : *group.find("computers")->array_())
      members.append(plainText(member.find("id")));
    made.set("assignments", std::move(members));
  }
  return made;
}

std::optional<Answer> ComputerGroups::serveCollection(Kind kind, const Call& call) {
  if (call.is("GET")) {
    return ListQuery(call.request, {fields, fields}).answer(ids(kind), [&](const std::string& id) {
      const auto found = group(kind, id);
      return found ? std::optional(summary(kind, *found)) : std::nullopt;
    });
  }
  if (!call.is("POST")) refuse(call, 405);
  const std::string id = fleet_.create(groups_, compose(kind, readObject(call.request), nullptr, {}));
  return createdAnswer(fleet_, dialect_, call.request.path.substr(1), id, detail(kind, *group(kind, id)));
}

std::optional<Answer> ComputerGroups::serveObject(Kind kind, const Call& call) {
  const std::string& id = call.last();
  const auto present = group(kind, id);
  if (!present) refuse(call, 404);
  if (call.is("GET")) return proAnswer(detail(kind, *present).text());
  if (call.is("DELETE")) {
    if (kind == Kind::smart) refuseInUse(id);
    fleet_.remove(groups_, id);
    return noContent();
  }
  if (!call.is("PUT")) refuse(call, 405);
  fleet_.write(groups_, id, compose(kind, readObject(call.request), &*present, id));
  return proAnswer(202, detail(kind, *group(kind, id)));
}

std::optional<Answer> ComputerGroups::serveMembership(Kind kind, const Call& call) {
  if (!call.is("GET")) refuse(call, 405);
  const auto found = group(kind, call.last());
  if (!found) refuse(call, 404);
  Value members = Value::array();
  for (const Value& member : *found->find("computers")->array_()) members.append(*member.find("id"));
  return proAnswer(Value::object({{"members", std::move(members)}}).text());
}

Value ComputerGroups::compose(Kind kind, const Value& body, const Value* present, std::string_view id) const {
  const bool isSmart = kind == Kind::smart;
  const std::string name = readRequiredText(body, "name");
  const Value* description = readMember(body, "description", MemberType::text);
  // Left out, the members of a static group are a fault of the server's own.
  if (!isSmart && !readMember(body, "assignments", MemberType::texts)) refuse(500, {}, {});
  Value made = Value::object({{"id", 0},
                              {"name", name},
                              {"is_smart", isSmart},
                              {"site", siteOf(fleet_, readMember(body, "siteId", MemberType::text))},
                              {"description", description ? *description : Value("")},
                              {"criteria", isSmart ? readCriteria(body) : Value::array()}});
  if (isSmart) {
    made.set("computers", present ? *present->find("computers") : Value::array());
  } else {
    made.set("computers", members(body));
  }
  const auto owner = fleet_.idOfName(groups_, name);
  if (owner && *owner != id) refuse(422, "DUPLICATE_FIELD", "A group with this name exists already", "name");
  return Value::object({{"computer_group", std::move(made)}});
}

Value ComputerGroups::members(const Value& body) const {
  Value made = Value::array();
  std::vector<std::string> ids;
  for (const Value& id : *body.find("assignments")->array_()) ids.push_back(*id.string());
  std::ranges::sort(ids);
  ids.erase(std::unique(ids.begin(), ids.end()), ids.end());
  for (const std::string& id : ids) {
    const auto computer = fleet_.recordValue(computers_, id);
    if (!computer)
      refuse(400, "INVALID_DEVICE", fmt::format("Computer with id {} does not exist", id.substr(0, 40)),
             "assignments");
    const Value& hardware = *objectAt(*computer, "hardware");
    made.append(Value::object({{"id", std::stoll(id)},
                               {"name", *objectAt(*computer, "general")->find("name")},
                               {"mac_address", *hardware.find("macAddress")},
                               {"alt_mac_address", ""},
                               {"serial_number", *hardware.find("serialNumber")}}));
  }
  return made;
}

void ComputerGroups::refuseInUse(std::string_view id) const {
  const std::int64_t number = std::stoll(std::string(id));
  for (const auto& [section, root] :
       {std::pair{"policies", "policy"}, {"computerConfigurationProfiles", "os_x_configuration_profile"}}) {
    const std::size_t users = *sectionNumber(section);
    for (const std::string& user : fleet_.ids(users)) {
      const auto record = fleet_.record(users, user);
      if (!record) continue;
      bool isNamed = false;
      platform::json::lookAt(*record,
                             [&, key = root](View view) { isNamed = names(*(*view[key])["scope"], number); });
      if (isNamed)
        refuse(422, "INVALID_FIELD", fmt::format("The group is in the scope of {} {}", root, user), "id");
    }
  }
}

}  // namespace sample
