#include "orvik/Relations/RelationText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <set>

#include "orvik/Output/TextTable.h"
#include "orvik/Output/Wording.h"

namespace orvik::host::relationText {

namespace {

using platform::json::Value;
using Places = std::vector<std::size_t>;

/// "1 policy", "2 policies".
std::string counted(std::size_t count, std::string_view one, std::string_view many) {
  return fmt::format("{} {}", count, count == 1 ? one : many);
}

std::string_view kindOf(const jamf::ClassifiedGroup& group) { return group.isSmart ? "smart" : "static"; }

/// The names of references, with commas between.
std::string names(const auto& references) {
  std::vector<std::string_view> all;
  for (const auto& each : references) all.emplace_back(each.name);
  return fmt::format("{}", fmt::join(all, ", "));
}

std::string groupNames(const Relations& relations, const Places& places) {
  std::vector<std::string_view> all;
  for (const auto place : places) all.emplace_back(relations.groups[place].name);
  return fmt::format("{}", fmt::join(all, ", "));
}

Value groupIDs(const Relations& relations, const Places& places) {
  Value::Array ids;
  for (const auto place : places) ids.emplace_back(relations.groups[place].id);
  return Value::array(std::move(ids));
}

Value reference(const auto& object) { return Value::object({{"id", object.id}, {"name", object.name}}); }

Value references(const auto& all) {
  Value::Array list;
  for (const auto& each : all) list.push_back(reference(each));
  return Value::array(std::move(list));
}

class Tables {
 public:
  explicit Tables(const Report& report) : report_(report) {}

  /// A table with an empty line above it, unless it has no rows.
  void print(const TextTable& table) {
    const auto lines = table.lines(report_.paint());
    if (lines.empty()) return;
    if (!isFirst_) report_.text("");
    isFirst_ = false;
    report_.lines(lines, {});
  }

 private:
  const Report& report_;
  bool isFirst_ = true;
};

void printTables(const Relations& relations, const Report& report) {
  Tables tables(report);
  TextTable groups({{"GROUP"}, {"ID"}, {"KIND"}});
  for (const auto& each : relations.groups) groups.add({each.name, each.id, std::string(kindOf(each))});
  TextTable policies({{"POLICY"}, {"ID"}, {"PACKAGES"}, {"SCRIPTS"}, {"GROUPS"}});
  for (const auto& each : relations.policies)
    policies.add({each.summary.name, std::to_string(each.summary.id), names(each.contents.packages),
                  names(each.contents.scripts), groupNames(relations, each.groups)});
  TextTable profiles({{"PROFILE"}, {"ID"}, {"GROUPS"}});
  for (const auto& each : relations.profiles)
    profiles.add({each.summary.name, std::to_string(each.summary.id), groupNames(relations, each.groups)});
  TextTable attributes({{"EXTENSION ATTRIBUTE"}, {"ID"}});
  for (const auto& each : relations.attributes) attributes.add({each.name, each.id});
  TextTable devices({{"COMPUTER"}, {"ID"}});
  for (const auto& each : relations.devices) devices.add({each.name, each.id});
  TextTable vanished({{"VANISHED MEANWHILE"}, {"ID"}, {"KIND"}});
  for (const auto& each : relations.vanished) vanished.add({each.name, each.id, each.kind});
  for (const auto* table : {&groups, &policies, &profiles, &attributes, &devices, &vanished})
    tables.print(*table);
  report.text("");
}

void printLines(const Relations& relations, const Report& report) {
  for (const auto& each : relations.groups) report.event("group", reference(each).set("kind", kindOf(each)));
  for (const auto& each : relations.policies)
    report.event("policy", reference(each.summary)
                               .set("groups", groupIDs(relations, each.groups))
                               .set("packages", references(each.contents.packages))
                               .set("scripts", references(each.contents.scripts)));
  for (const auto& each : relations.profiles)
    report.event("profile", reference(each.summary).set("groups", groupIDs(relations, each.groups)));
  for (const auto& each : relations.attributes) report.event("extensionAttribute", reference(each));
  for (const auto& each : relations.devices) report.event("device", reference(each));
  for (const auto& each : relations.vanished)
    report.event("vanished", reference(each).set("kind", each.kind));
}

/// How many different objects policies name in one of their lists.
template <class Reference>
std::size_t distinct(const Relations& relations, std::vector<Reference> jamf::PackageScriptResult::*list) {
  std::set<std::int64_t> ids;
  for (const auto& policy : relations.policies)
    for (const auto& each : policy.contents.*list) ids.insert(each.id);
  return ids.size();
}

std::size_t packages(const Relations& relations) {
  return distinct(relations, &jamf::PackageScriptResult::packages);
}

std::size_t scripts(const Relations& relations) {
  return distinct(relations, &jamf::PackageScriptResult::scripts);
}

}  // namespace

void print(const Relations& relations, const Report& report) {
  if (report.isJSON())
    printLines(relations, report);
  else
    printTables(relations, report);
}

void print(const jamf::ExtensionAttributeValuesResult& values, const Report& report) {
  TextTable table({{"VALUE"}, {"COUNT", TextTable::Align::right}, {"COMPUTERS"}});
  for (const auto& group : values.groups) {
    table.add({group.value, std::to_string(group.devices.size()), names(group.devices)});
    report.event("value", Value::object({{"value", group.value}}).set("devices", references(group.devices)));
  }
  Tables(report).print(table);
  if (!values.groups.empty()) report.text("");
}

std::string summary(const Relations& relations) {
  return fmt::format("{}, {}, {}, {}, {}, {}", counted(relations.groups.size(), "group", "groups"),
                     counted(relations.policies.size(), "policy", "policies"),
                     counted(relations.profiles.size(), "profile", "profiles"),
                     counted(packages(relations), "package", "packages"),
                     counted(scripts(relations), "script", "scripts"),
                     counted(relations.devices.size(), "computer", "computers"));
}

std::string summary(const jamf::ExtensionAttributeValuesResult& values) {
  return fmt::format("{} on {}", counted(values.groups.size(), "value", "values"),
                     wording::counted(values.devicesScanned, "computer"));
}

Value counts(const Relations& relations) {
  return Value::object({{"groups", relations.groups.size()},
                        {"policies", relations.policies.size()},
                        {"profiles", relations.profiles.size()},
                        {"packages", packages(relations)},
                        {"scripts", scripts(relations)},
                        {"extensionAttributes", relations.attributes.size()},
                        {"devices", relations.devices.size()},
                        {"vanished", relations.vanished.size()}});
}

}  // namespace orvik::host::relationText
