#include "JamfCore/Services/ObjectCalls.h"

#include "Platform/JSON/Value.h"

namespace jamf {

namespace {

namespace json = platform::json;

/// A new object has no id, and servers needn't be told so.
platform::Bytes withoutEmptyID(const platform::Bytes& body) {
  const auto document = json::Document::parse(body);
  auto object = json::Value::from(document->root());
  const auto* id = object.find("id");
  if (!id || !id->string() || !id->string()->empty()) return body;
  std::erase_if(*object.object_(), [](const auto& member) { return member.first == "id"; });
  return object.text();
}

}  // namespace

Endpoint ObjectCalls::listEndpoint(const ListRequest& request) const {
  Endpoint endpoint;
  endpoint.path = path;
  endpoint.queryItems = {{"page", std::to_string(request.page)},
                         {"page-size", std::to_string(request.pageSize)}};
  if (request.filter) endpoint.queryItems.push_back({"filter", request.filter});
  if (request.sort) endpoint.queryItems.push_back({"sort", request.sort});
  return endpoint;
}

Endpoint ObjectCalls::writeEndpoint(Endpoint::Method method, const platform::Bytes& body) {
  Endpoint endpoint;
  endpoint.method = method;
  endpoint.body = withoutEmptyID(body);
  endpoint.contentType = "application/json";
  return endpoint;
}

void ObjectCalls::remove(const std::string& id, const std::stop_token& stop) const {
  Endpoint endpoint;
  endpoint.method = Endpoint::Method::delete_;
  endpoint.path = path + below(id);
  if (fallbackPath)
    client.send(endpoint, *fallbackPath + below(id), stop);
  else
    client.send(endpoint, stop);
}

}  // namespace jamf
