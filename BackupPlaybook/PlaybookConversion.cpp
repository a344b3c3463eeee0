#include "BackupPlaybook/PlaybookConversion.h"

#include <algorithm>
#include <array>
#include <utility>

#include "BackupPlaybook/RecordRest.h"

namespace orvik {

namespace {

using namespace jamf;
using Texts = std::optional<std::string>;

/// What a new policy has beside its general part, and there.
constexpr std::string_view usualPolicy = R"json({"self_service":{"install_button_text":"Install",
  "reinstall_button_text":"Reinstall","notification_type":"Self Service"},
  "package_configuration":{"distribution_point":"default"},
  "account_maintenance":{"management_account":{"action":"doNotChange"},"open_firmware_efi_password":
  {"of_mode":"none","of_password_sha256":"e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"}},
  "reboot":{"startup_disk":"Current Startup Disk","no_user_logged_in":"Do not restart",
  "user_logged_in":"Do not restart","minutes_until_reboot":5},"disk_encryption":{"action":"none"}})json";
constexpr std::string_view usualPolicyGeneral = R"json({"retry_event":"none","target_drive":"/",
  "network_limitations":{"minimum_network_connection":"No Minimum","any_ip_address":true},
  "override_default_settings":{"target_drive":"default","distribution_point":"default","sus":"default"},
  "network_requirements":"Any","site":{"id":-1,"name":"None"}})json";
constexpr std::string_view usualProfile = R"json({"self_service":{"install_button_text":"Install",
  "security":{"removal_disallowed":"Never"},"notification_type":"Self Service"}})json";
constexpr std::string_view usualProfileGeneral =
    R"json({"redeploy_on_update":"Newly Assigned","site":{"id":-1,"name":"None"}})json";
constexpr std::string_view usualGroup = R"json({"site":{"id":-1,"name":"None"}})json";
constexpr std::string_view usualPackage =
    R"json({"selfHealingAction":"nothing","parentPackageId":"-1","installLanguage":"en_US"})json";

JSONTree unwrapped(const JSONTree& record) {
  const auto members = record.members();
  return members.size() == 1 && members.front().second.isObject() ? members.front().second : record;
}

/// Reads one record: each value once, and at the end what nobody has read.
class Reading {
 public:
  explicit Reading(const JSONTree& record) : record_(record) {}

  /// Nothing for an empty one.
  Texts text(std::string_view key) {
    rest_.read.insert(key);
    auto value = record_[key].string();
    return value && !value->empty() ? value : std::nullopt;
  }
  bool flag(std::string_view key) { return text(key) == "true"; }
  /// True, or nothing.
  std::optional<bool> set(std::string_view key) { return flag(key) ? std::optional(true) : std::nullopt; }
  std::optional<std::int64_t> integer(std::string_view key) {
    rest_.read.insert(key);
    return record_[key].integer();
  }
  /// Nothing for a text that a playbook doesn't know either, which then counts as unread.
  template <class Enum>
  std::optional<Enum> choice(std::string_view key) {
    const auto value = platform::json::enumFromText<Enum>(record_[key].string().value_or(""));
    if (value) rest_.read.insert(key);
    return value;
  }
  JSONTree member(std::string_view key) {
    rest_.read.insert(key);
    return record_[key];
  }
  /// A category as Classic records name it.
  Texts category(std::string_view key) {
    const auto tree = member(key);
    const auto name = tree["name"].string().value_or("");
    return tree["id"].integer() == -1 || name.empty() ? std::nullopt : std::optional(name);
  }
  void ignore(std::initializer_list<std::string_view> keys) { rest_.read.insert(keys); }
  void usual(std::string_view json) { rest_.usual = json; }

  std::vector<std::string> rest(std::string_view objectName) const {
    return record_.raw() ? rest_.of(*record_.raw(), objectName) : std::vector<std::string>();
  }

 private:
  const JSONTree record_;
  RecordRest rest_;
};

ConvertedObject leftOut(std::string reason) { return {.reason = std::move(reason)}; }

void append(std::vector<std::string>& list, std::vector<std::string> more) {
  std::ranges::move(more, std::back_inserter(list));
}

/// A list that nothing or an empty object may stand for; nothing for what is none.
std::optional<std::vector<JSONTree>> listOf(const JSONTree& tree) {
  if (auto elements = tree.array()) return elements;
  if (tree.raw() && !tree.raw()->isNull() && !tree.isObject()) return std::nullopt;
  const bool isEmpty = std::ranges::all_of(tree.members(), [](const auto& member) {
    return member.first == "size" && member.second.integer() == 0;
  });
  return isEmpty ? std::optional(std::vector<JSONTree>()) : std::nullopt;
}

std::optional<PlaybookSmartGroupCriterion> criterionOf(const JSONTree& tree) {
  Reading reading(tree);
  PlaybookSmartGroupCriterion made{.field = reading.text("name").value_or(""),
                                   .searchType = reading.text("search_type").value_or(""),
                                   .value = reading.text("value").value_or("")};
  const auto andOr = platform::json::enumFromText<AndOr>(reading.text("and_or").value_or("and"));
  if (made.field.empty() || made.searchType.empty() || !andOr) return std::nullopt;
  if (*andOr == AndOr::or_) made.andOr = andOr;
  made.openingParen = reading.set("opening_paren");
  made.closingParen = reading.set("closing_paren");
  return made;
}

ConvertedObject smartGroup(const JSONTree& record, const CategoryNames& /*categories*/) {
  Reading reading(unwrapped(record));
  if (!reading.flag("is_smart")) return leftOut("a playbook has no static groups");
  PlaybookSmartGroup made{.name = reading.text("name").value_or(""),
                          .description = reading.text("description")};
  const auto found = listOf(reading.member("criteria"));
  if (!found) return leftOut("its criteria can't be read");
  auto criteria = *found;
  std::ranges::stable_sort(criteria, {}, [](const JSONTree& each) { return each["priority"].integer(); });
  bool isCounted = true;
  for (std::size_t i = 0; i < criteria.size(); ++i) {
    isCounted = isCounted && criteria[i]["priority"].integer() == static_cast<std::int64_t>(i);
    auto criterion = criterionOf(criteria[i]);
    if (!criterion) return leftOut("its criteria can't be read");
    if (!made.criteria) made.criteria.emplace();
    made.criteria->push_back(*std::move(criterion));
  }
  reading.ignore({"id", "computers"});  // the members follow from the criteria
  reading.usual(usualGroup);
  auto lost = reading.rest(made.name);
  if (!isCounted) lost.emplace_back("priorities of criteria, which don't count up from 0");
  return {.resource = {{std::move(made)}}, .lost = std::move(lost)};
}

ConvertedObject policy(const JSONTree& record, const CategoryNames& /*categories*/) {
  Reading whole(unwrapped(record));
  Reading general(whole.member("general"));
  PlaybookPolicy made;
  made.name = general.text("name").value_or("");
  made.enabled = general.flag("enabled");
  made.triggerCheckin = general.set("trigger_checkin");
  made.triggerEnrollmentComplete = general.set("trigger_enrollment_complete");
  made.triggerLogin = general.set("trigger_login");
  made.triggerNetworkStateChanged = general.set("trigger_network_state_changed");
  made.triggerStartup = general.set("trigger_startup");
  made.triggerOther = general.text("trigger_other");
  made.frequency = general.text("frequency");
  made.categoryName = general.category("category");
  general.ignore({"id", "trigger"});  // the latter follows from the other triggers
  general.usual(usualPolicyGeneral);
  whole.usual(usualPolicy);
  auto lost = general.rest(made.name);
  append(lost, whole.rest(made.name));
  return {.resource = {{std::move(made)}}, .lost = std::move(lost)};
}

ConvertedObject profile(const JSONTree& record, const CategoryNames& /*categories*/) {
  Reading whole(unwrapped(record));
  Reading general(whole.member("general"));
  PlaybookConfigurationProfile made;
  made.name = general.text("name").value_or("");
  made.description = general.text("description");
  made.distributionMethod = general.text("distribution_method");
  if (const auto removable = general.text("user_removable")) made.userRemovable = *removable == "true";
  made.level = general.text("level");
  made.categoryName = general.category("category");
  made.payloads = general.text("payloads");
  general.ignore({"id", "uuid"});
  general.usual(usualProfileGeneral);
  whole.usual(usualProfile);
  auto lost = general.rest(made.name);
  append(lost, whole.rest(made.name));
  return {.resource = {{std::move(made)}}, .lost = std::move(lost)};
}

ConvertedObject script(const JSONTree& record, const CategoryNames& /*categories*/) {
  Reading reading(record);
  PlaybookScript made;
  made.name = reading.text("name").value_or("");
  made.info = reading.text("info");
  made.notes = reading.text("notes");
  made.priority = reading.choice<ScriptPriority>("priority");
  made.categoryName = reading.text("categoryName");
  if (reading.text("categoryId") == "-1" || made.categoryName == "NONE") made.categoryName.reset();
  made.osRequirements = reading.text("osRequirements");
  made.scriptContents = reading.text("scriptContents");
  reading.ignore({"id"});
  auto lost = reading.rest(made.name);
  return {.resource = {{std::move(made)}}, .lost = std::move(lost)};
}

ConvertedObject extensionAttribute(const JSONTree& record, const CategoryNames& /*categories*/) {
  Reading reading(record);
  PlaybookComputerExtensionAttribute made;
  made.name = reading.text("name").value_or("");
  made.description = reading.text("description");
  made.dataType = reading.choice<AttributeDataType>("dataType");
  made.enabled = reading.flag("enabled");
  made.inventoryDisplayType = reading.choice<AttributeDisplay>("inventoryDisplayType");
  made.inputType = reading.choice<AttributeInput>("inputType");
  made.scriptContents = reading.text("scriptContents");
  made.ldapAttributeMapping = reading.text("ldapAttributeMapping");
  for (const auto& each : reading.member("popupMenuChoices").array().value_or(std::vector<JSONTree>())) {
    if (!made.popupMenuChoices) made.popupMenuChoices.emplace();
    made.popupMenuChoices->push_back(each.string().value_or(""));
  }
  reading.ignore({"id"});
  auto lost = reading.rest(made.name);
  return {.resource = {{std::move(made)}}, .lost = std::move(lost)};
}

ConvertedObject package(const JSONTree& record, const CategoryNames& categories) {
  Reading reading(record);
  PlaybookPackage made;
  made.name = reading.text("packageName").value_or("");
  made.fileName = reading.text("fileName").value_or("");
  const auto priority = reading.integer("priority");
  if (made.fileName.empty()) return leftOut("it names no file");
  if (!priority) return leftOut("it has no priority");
  made.priority = *priority;
  std::vector<std::string> lost{"file"};
  if (const auto id = reading.text("categoryId"); id && id != "-1") {
    const auto category = categories.find(*id);
    if (category == categories.end())
      lost.emplace_back("categoryId");
    else
      made.categoryName = category->second;
  }
  made.info = reading.text("info");
  made.notes = reading.text("notes");
  made.osRequirements = reading.text("osRequirements");
  made.fillUserTemplate = reading.set("fillUserTemplate");
  made.rebootRequired = reading.set("rebootRequired");
  made.osInstall = reading.set("osInstall");
  made.suppressUpdates = reading.set("suppressUpdates");
  made.suppressFromDock = reading.set("suppressFromDock");
  made.suppressEula = reading.set("suppressEula");
  made.suppressRegistration = reading.set("suppressRegistration");
  reading.ignore({"id", "indexed", "md5", "sha256", "sha3512", "hashType", "hashValue", "size", "format",
                  "cloudTransferStatus"});  // what the server found out of the file
  reading.usual(usualPackage);
  append(lost, reading.rest(made.name));
  return {.resource = {{std::move(made)}}, .lost = std::move(lost)};
}

constexpr std::array sections{
    PlaybookSection{"scripts", "script", "scripts", script},
    PlaybookSection{"packages", "package", "packages", package},
    PlaybookSection{"computerExtensionAttributes", "computer extension attribute",
                    "computer extension attributes", extensionAttribute},
    PlaybookSection{"computerGroups", "computer group", "computer groups", smartGroup},
    PlaybookSection{"computerConfigurationProfiles", "computer configuration profile",
                    "computer configuration profiles", profile},
    PlaybookSection{"policies", "policy", "policies", policy}};

}  // namespace

std::span<const PlaybookSection> playbookSections() { return sections; }

const PlaybookSection* playbookSection(std::string_view id) {
  const auto found = std::ranges::find(sections, id, &PlaybookSection::id);
  return found == sections.end() ? nullptr : &*found;
}

}  // namespace orvik
