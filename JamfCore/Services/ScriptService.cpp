#include "JamfCore/Services/ScriptService.h"

#include "JamfCore/Services/ObjectCalls.h"

namespace jamf {

namespace {

ObjectCalls calls(const ScriptService& service) { return {*service.client, "api/v1/scripts"}; }

}  // namespace

Page<Script> ScriptService::list(const ListRequest& request, const std::stop_token& stop) const {
  return calls(*this).list<Script>(request, stop);
}

Script ScriptService::get(const std::string& id, const std::stop_token& stop) const {
  return calls(*this).get<Script>(id, stop);
}

Script ScriptService::create(const Script& object, const std::stop_token& stop) const {
  return calls(*this).createAndGet(object, stop);
}

Script ScriptService::update(const std::string& id, const Script& object, const std::stop_token& stop) const {
  return calls(*this).update<Script>(id, object, stop);
}

void ScriptService::delete_(const std::string& id, const std::stop_token& stop) const {
  calls(*this).remove(id, stop);
}

std::vector<Script> ScriptService::search(const std::string& name, const std::stop_token& stop) const {
  return list({.filter = exactFilter("name", name)}, stop).results;
}

}  // namespace jamf
