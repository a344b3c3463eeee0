#include "SampleServer/ClassicObjects.h"

#include <fmt/format.h>

#include "Platform/JSON/View.h"
#include "SampleServer/RecordTexts.h"
#include "SampleServer/Templates/NewRecords.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {
namespace {

using platform::json::Value;
using platform::json::View;

/// Writes empty lists as an old converter does.
void emptyListsToObjects(Value& scope) {
  for (auto& [key, member] : *scope.object_()) {
    if (member.object_()) emptyListsToObjects(member);
    if (member.array_() && member.array_()->empty()) member = Value::object();
  }
}

}  // namespace

ClassicObjects::ClassicObjects(Fleet& fleet, const Dialect& dialect)
    : fleet_(fleet),
      dialect_(dialect),
      policies_{"policies", "policy", ClassicBody(fleet, templates::newPolicy)},
      profiles_{"computerConfigurationProfiles", "os_x_configuration_profile",
                ClassicBody(fleet, templates::newComputerProfile)} {}

std::vector<Route> ClassicObjects::routes() {
  using Handler = std::optional<Answer> (ClassicObjects::*)(const Kind&, const Call&);
  const auto route = [this](std::string_view pattern, const Kind& kind, Handler handler) {
    return Route{pattern, kind.section,
                 [this, &kind, handler](const Call& c) { return (this->*handler)(kind, c); }};
  };
  return {route("JSSResource/policies/id/*", policies_, &ClassicObjects::serveID),
          route("JSSResource/policies/name/*", policies_, &ClassicObjects::serveName),
          route("JSSResource/policies/category/*", policies_, &ClassicObjects::serveCategory),
          route("JSSResource/osxconfigurationprofiles/id/*", profiles_, &ClassicObjects::serveID),
          route("JSSResource/osxconfigurationprofiles/name/*", profiles_, &ClassicObjects::serveName)};
}

std::optional<Answer> ClassicObjects::serveID(const Kind& kind, const Call& call) {
  const std::string& id = call.last();
  if (call.is("POST")) {
    // Asking for a certain id is not understood: 0 stands for the next one.
    if (id != "0") refuse(call, 404);
    return written(kind, 201, fleet_.create(kind.number(), compose(kind, call.request, nullptr, {})));
  }
  if (call.is("GET") && !dialect_.emptyScopeListIsObject) return std::nullopt;
  auto present = fleet_.recordValue(kind.number(), id);
  if (!present) refuse(call, 404);
  if (call.is("GET")) {
    requireJSON(call.request);
    return showRecord(kind, *std::move(present));
  }
  if (call.is("DELETE")) {
    fleet_.remove(kind.number(), id);
    return written(kind, 200, id);
  }
  if (!call.is("PUT")) refuse(call, 405);
  fleet_.write(kind.number(), id, compose(kind, call.request, present->find(kind.root), id));
  return written(kind, 201, id);
}

std::optional<Answer> ClassicObjects::serveName(const Kind& kind, const Call& call) {
  if (!call.is("GET")) refuse(call, 405);
  requireJSON(call.request);
  const auto id = fleet_.idOfName(kind.number(), call.last());
  auto record = id ? fleet_.recordValue(kind.number(), *id) : std::nullopt;
  if (!record) refuse(call, 404);
  return showRecord(kind, *std::move(record));
}

std::optional<Answer> ClassicObjects::serveCategory(const Kind& kind, const Call& call) {
  if (!call.is("GET")) refuse(call, 405);
  requireJSON(call.request);
  Value found = Value::array();
  for (const std::string& id : fleet_.ids(kind.number())) {
    const auto record = fleet_.record(kind.number(), id);
    if (!record) continue;
    platform::json::lookAt(*record, [&](View view) {
      const View general = *(*view[kind.root])["general"];
      if (!equalIgnoringCase(*(*general["category"])["name"]->string(), call.last())) return;
      found.append(Value::object({{"id", *general["id"]->int64()}, {"name", *general["name"]->string()}}));
    });
  }
  return classicAnswer(
      Value::object({{std::string(sectionTable()[kind.number()].key), std::move(found)}}).text());
}

Answer ClassicObjects::showRecord(const Kind& kind, Value record) const {
  if (dialect_.emptyScopeListIsObject) emptyListsToObjects(*record.find(kind.root)->find("scope"));
  return classicAnswer(record.text());
}

Answer ClassicObjects::written(const Kind& kind, int status, std::string_view id) const {
  return classicWritten(status, kind.root, dialect_.classicWriteHidesID ? std::string_view() : id);
}

Value ClassicObjects::compose(const Kind& kind, const Request& request, const Value* present,
                              std::string_view id) const {
  const platform::xml::Element sent = readRoot(request, kind.root);
  Value made = present ? *present : kind.body.usual();
  kind.body.apply(sent, made);
  Value& general = *made.find("general");
  const std::string name = textOf(general, "name");
  if (name.find_first_not_of(" \t\r\n") == std::string::npos) refuseConflict("Name is required");
  const auto owner = fleet_.idOfName(kind.number(), name);
  if (owner && *owner != id) refuseConflict("Duplicate name");
  if (const Value* uuid = general.find("uuid"); uuid && textOf(general, "uuid").empty()) {
    platform::Bytes text;
    const std::uint64_t key = mix(fleet_.seed() ^ hashText(name));
    appendUUID(text, key, mix(key), true);
    general.set("uuid", text.substr(1, text.size() - 2));
  }
  return Value::object({{std::string(kind.root), std::move(made)}});
}

}  // namespace sample
