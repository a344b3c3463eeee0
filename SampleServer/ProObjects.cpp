#include "SampleServer/ProObjects.h"

#include <fmt/format.h>

#include <algorithm>
#include <span>

#include "Platform/JSON/View.h"
#include "SampleServer/ListQuery.h"
#include "SampleServer/ProBody.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {
namespace {

using platform::json::Value;

/// How a member comes to be in a record.
enum class Way {
  optional,  ///< the client's value, else the one of the rule
  required,
  kept,    ///< the client's value, else the present one, else the one of the rule
  server,  ///< the present value, whatever the client sends, else the one of the rule
};

struct Rule {
  std::string_view key;
  Way way = Way::optional;
  MemberType type = MemberType::text;
  std::string_view otherwise = R"("")";  ///< JSON
  std::string_view choices = {};         ///< "A|B": the texts that are taken
};

constexpr Rule flag(std::string_view key, Way way = Way::optional) {
  return {key, way, MemberType::flag, "false"};
}

constexpr Rule categoryRules[] = {
    {"id", Way::server}, {"name", Way::required}, {"priority", Way::required, MemberType::integer}};

constexpr Rule scriptRules[] = {
    {"id", Way::server},
    {"name", Way::required},
    {"info"},
    {"notes"},
    {"priority", Way::optional, MemberType::text, R"("AFTER")", "AFTER|BEFORE|AT_REBOOT"},
    {"categoryId", Way::optional, MemberType::text, R"("-1")"},
    {"categoryName", Way::optional, MemberType::text, R"("NONE")"},
    {"parameter4"},
    {"parameter5"},
    {"parameter6"},
    {"parameter7"},
    {"parameter8"},
    {"parameter9"},
    {"parameter10"},
    {"parameter11"},
    {"osRequirements"},
    {"scriptContents"}};

constexpr Rule attributeRules[] = {
    {"id", Way::server},
    {"name", Way::required},
    {"description"},
    {"dataType", Way::required, MemberType::text, {}, "STRING|INTEGER|DATE"},
    flag("enabled", Way::required),
    {"inventoryDisplayType",
     Way::required,
     MemberType::text,
     {},
     "GENERAL|HARDWARE|OPERATING_SYSTEM|USER_AND_LOCATION|PURCHASING|EXTENSION_ATTRIBUTES"},
    {"inputType",
     Way::required,
     MemberType::text,
     {},
     "SCRIPT|TEXT|POPUP|DIRECTORY_SERVICE_ATTRIBUTE_MAPPING"},
    {"scriptContents"},
    {"popupMenuChoices", Way::optional, MemberType::texts, "[]"},
    {"ldapAttributeMapping"},
    flag("ldapExtensionAttributeAllowed"),
    // What a client may send, but never gets.
    {"manageExistingData", Way::server, MemberType::text, "null"}};

// The members that tell of the file follow from the file where nothing else is claimed.
constexpr Rule packageRules[] = {
    {"id", Way::server},
    {"packageName", Way::required},
    {"fileName", Way::required},
    {"categoryId", Way::required},
    {"info"},
    {"notes"},
    {"priority", Way::required, MemberType::integer},
    {"osRequirements"},
    flag("fillUserTemplate", Way::required),
    flag("indexed", Way::server),
    flag("fillExistingUsers"),
    flag("swu"),
    flag("rebootRequired", Way::required),
    flag("selfHealNotify"),
    {"selfHealingAction", Way::optional, MemberType::text, R"("nothing")"},
    flag("osInstall", Way::required),
    {"serialNumber"},
    {"parentPackageId", Way::optional, MemberType::text, R"("-1")"},
    {"basePath"},
    flag("suppressUpdates", Way::required),
    {"cloudTransferStatus", Way::server, MemberType::text, R"("AWAITING_UPLOAD")"},
    flag("ignoreConflicts"),
    flag("suppressFromDock", Way::required),
    flag("suppressEula", Way::required),
    flag("suppressRegistration", Way::required),
    {"installLanguage", Way::optional, MemberType::text, R"("en_US")"},
    {"md5", Way::server},
    {"sha256", Way::server},
    {"sha3512", Way::server},
    {"hashType", Way::kept, MemberType::text, R"("SHA_512")"},
    {"hashValue", Way::kept},
    {"size", Way::server},
    {"osInstallerVersion"},
    {"manifest"},
    {"manifestFileName"},
    {"format"}};

constexpr std::string_view categoryFields[] = {"id", "name", "priority"};
constexpr std::string_view scriptFields[] = {
    "id",         "name",         "info",       "notes",          "priority",
    "categoryId", "categoryName", "parameters", "osRequirements", "scriptContents"};
constexpr std::string_view attributeFields[] = {"id", "name"};
constexpr std::string_view packageFields[] = {"id",   "fileName", "packageName",      "categoryId",
                                              "info", "notes",    "manifestFileName", "cloudTransferStatus"};

bool isChoice(std::string_view choices, std::string_view text) {
  while (!choices.empty()) {
    const std::string_view choice = choices.substr(0, choices.find('|'));
    if (choice == text) return true;
    choices.remove_prefix(std::min(choices.size(), choice.size() + 1));
  }
  return false;
}

Value readValue(const Rule& rule, const Value& body, const Value* present) {
  const Value* old = present ? present->find(rule.key) : nullptr;
  const Value* sent = rule.way == Way::server ? nullptr : readMember(body, rule.key, rule.type);
  if (rule.way == Way::required && rule.type == MemberType::text) readRequiredText(body, rule.key);
  if (rule.way == Way::required && !sent)
    refuseField(fmt::format("The required property '{}' is missing", rule.key), rule.key);
  if (sent && !rule.choices.empty() && !isChoice(rule.choices, *sent->string()))
    refuseField(fmt::format("'{}' is no value of '{}'", sent->string()->substr(0, 40), rule.key), rule.key);
  if (sent) return *sent;
  if (old && (rule.way == Way::server || rule.way == Way::kept)) return *old;
  return Value::from(platform::json::Document::parse(rule.otherwise)->root());
}

}  // namespace

struct ProObjects::Kind {
  std::string_view section;
  std::string_view path;
  std::string_view pathOfOne;
  std::string_view root;  ///< the key that the record stands under where the section is a Classic one
  std::string_view name;  ///< key of the name
  int statusOfPut;
  std::span<const Rule> rules;
  std::span<const std::string_view> fields;

  std::size_t number() const { return *sectionNumber(section); }
};

namespace {

constexpr ProObjects::Kind kinds[] = {
    {"categories", "api/v1/categories", "api/v1/categories/*", "category", "name", 200, categoryRules,
     categoryFields},
    {"scripts", "api/v1/scripts", "api/v1/scripts/*", "", "name", 200, scriptRules, scriptFields},
    {"packages", "api/v1/packages", "api/v1/packages/*", "", "packageName", 200, packageRules, packageFields},
    {"computerExtensionAttributes", "api/v1/computer-extension-attributes",
     "api/v1/computer-extension-attributes/*", "", "name", 202, attributeRules, attributeFields},
};

}  // namespace

std::vector<Route> ProObjects::routes() {
  std::vector<Route> made;
  for (const Kind& kind : kinds) {
    made.push_back(
        {kind.path, kind.section, [this, &kind](const Call& c) { return serveCollection(kind, c); }});
    made.push_back(
        {kind.pathOfOne, kind.section, [this, &kind](const Call& c) { return serveObject(kind, c); }});
  }
  return made;
}

std::optional<Value> ProObjects::object(const Kind& kind, std::string_view id) const {
  auto record = fleet_.recordValue(kind.number(), id);
  if (!record || kind.root.empty()) return record;
  Value object = *record->find(kind.root);
  object.set("id", id);
  return object;
}

std::optional<Answer> ProObjects::serveCollection(const Kind& kind, const Call& call) {
  if (call.is("GET")) {
    const ListQuery query(call.request, {kind.fields, kind.fields});
    // A section of the Pro interface has its pages already.
    if (query.isPlain() && kind.root.empty()) return std::nullopt;
    return query.answer(fleet_.ids(kind.number()), [&](const std::string& id) { return object(kind, id); });
  }
  if (!call.is("POST")) refuse(call, 405);
  const Value made = compose(kind, readObject(call.request), nullptr);
  refuseDuplicate(kind, made, {});
  const std::string id = fleet_.create(
      kind.number(), kind.root.empty() ? made : Value::object({{std::string(kind.root), made}}));
  return createdAnswer(fleet_, dialect_, kind.path, id, *object(kind, id));
}

std::optional<Answer> ProObjects::serveObject(const Kind& kind, const Call& call) {
  const std::string& id = call.last();
  if (call.is("GET") && kind.root.empty()) return std::nullopt;
  const auto present = object(kind, id);
  if (!present) refuse(call, 404);
  if (call.is("GET")) return proAnswer(present->text());
  if (call.is("DELETE")) {
    fleet_.remove(kind.number(), id);
    return noContent();
  }
  if (!call.is("PUT")) refuse(call, 405);
  const Value made = compose(kind, readObject(call.request), &*present);
  refuseDuplicate(kind, made, id);
  fleet_.write(kind.number(), id, kind.root.empty() ? made : Value::object({{std::string(kind.root), made}}));
  return proAnswer(kind.statusOfPut, *object(kind, id));
}

Value ProObjects::compose(const Kind& kind, const Value& body, const Value* present) const {
  Value made = Value::object();
  for (const Rule& rule : kind.rules) made.set(rule.key, readValue(rule, body, present));
  if (kind.section == "categories") {
    const std::int64_t priority = *made.find("priority")->integer();
    if (priority < 1 || priority > 20) refuseField("The priority is not between 1 and 20", "priority");
  }
  if (made.find("categoryId")) settleCategory(body, present, made);
  return made;
}

/// Of a category's id and name the one decides that the client has changed, the id before the name: clients
/// send back what they read, and change one of the two.
void ProObjects::settleCategory(const Value& body, const Value* present, Value& made) const {
  const std::size_t categories = *sectionNumber("categories");
  const std::string oldID = present ? textOf(*present, "categoryId") : "-1";
  const std::string oldName = present ? textOf(*present, "categoryName") : "NONE";
  std::string id = textOf(made, "categoryId");
  const bool hasName = made.find("categoryName") != nullptr;
  const std::string name = textOf(body, "categoryName");
  if (hasName && !name.empty() && name != "NONE" && name != oldName &&
      (id == oldID || !body.find("categoryId"))) {
    const auto found = fleet_.idOfName(categories, name);
    if (!found) refuseField(fmt::format("Category '{}' does not exist", name.substr(0, 40)), "categoryName");
    id = *found;
  } else if (hasName && name == oldName && !body.find("categoryId")) {
    id = oldID;
  }
  const auto known = fleet_.currentName(categories, id);
  if (!known && id != "-1" && id != oldID)
    refuseField(fmt::format("Category with id {} does not exist", id.substr(0, 40)), "categoryId");
  made.set("categoryId", id);
  if (hasName) made.set("categoryName", known.value_or(id == oldID ? oldName : "NONE"));
}

void ProObjects::refuseDuplicate(const Kind& kind, const Value& made, std::string_view id) const {
  const auto owner = fleet_.idOfName(kind.number(), textOf(made, kind.name));
  if (owner && *owner != id)
    refuse(400, "DUPLICATE_FIELD", fmt::format("An object with this {} exists already", kind.name),
           kind.name);
}

}  // namespace sample
