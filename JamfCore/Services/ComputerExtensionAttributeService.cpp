#include "JamfCore/Services/ComputerExtensionAttributeService.h"

#include "JamfCore/Services/ObjectCalls.h"

namespace jamf {

namespace {

ObjectCalls calls(const ComputerExtensionAttributeService& service) {
  return {*service.client, "api/v1/computer-extension-attributes"};
}

}  // namespace

Page<ComputerExtensionAttribute> ComputerExtensionAttributeService::list(const ListRequest& request,
                                                                         const std::stop_token& stop) const {
  return calls(*this).list<ComputerExtensionAttribute>(request, stop);
}

ComputerExtensionAttribute ComputerExtensionAttributeService::get(const std::string& id,
                                                                  const std::stop_token& stop) const {
  return calls(*this).get<ComputerExtensionAttribute>(id, stop);
}

ComputerExtensionAttribute ComputerExtensionAttributeService::create(const ComputerExtensionAttribute& object,
                                                                     const std::stop_token& stop) const {
  return calls(*this).createAndGet(object, stop);
}

ComputerExtensionAttribute ComputerExtensionAttributeService::update(const std::string& id,
                                                                     const ComputerExtensionAttribute& object,
                                                                     const std::stop_token& stop) const {
  return calls(*this).update<ComputerExtensionAttribute>(id, object, stop);
}

void ComputerExtensionAttributeService::delete_(const std::string& id, const std::stop_token& stop) const {
  calls(*this).remove(id, stop);
}

std::vector<ComputerExtensionAttribute> ComputerExtensionAttributeService::search(
    const std::string& name, const std::stop_token& stop) const {
  return list({.filter = exactFilter("name", name)}, stop).results;
}

}  // namespace jamf
