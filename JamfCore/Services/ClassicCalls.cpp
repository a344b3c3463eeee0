#include "JamfCore/Services/ClassicCalls.h"

#include <fmt/format.h>

#include "JamfCore/Networking/ClassicAPIXML.h"

namespace jamf {

namespace {

void setXML(Endpoint& endpoint, const platform::Bytes& xml) {
  endpoint.body = xml;
  endpoint.contentType = "application/xml";
}

}  // namespace

Endpoint ClassicCalls::byID(std::int64_t id, Endpoint::Method method) const {
  Endpoint endpoint;
  endpoint.path = fmt::format("{}/id/{}", path, id);
  endpoint.method = method;
  return endpoint;
}

Endpoint ClassicCalls::by(const std::string& property, const std::string& value) const {
  if (value.empty() || value == "." || value == "..")
    throw APIError::requestFailed(400, fmt::format("\"{}\" is not the name of an object.", value));
  Endpoint endpoint;
  endpoint.path = path + "/" + property;
  endpoint.name = value;
  return endpoint;
}

std::int64_t ClassicCalls::create(const platform::Bytes& xml, const std::stop_token& stop) const {
  constexpr std::int64_t newObject = 0;
  auto endpoint = byID(newObject, Endpoint::Method::post);
  setXML(endpoint, xml);
  const auto id = ClassicAPIXML::extractID(client.sendForBytes(endpoint, stop));
  if (!id) throw APIError::decodingFailed(fmt::format("Could not find <id> in {} create response", kind));
  return *id;
}

void ClassicCalls::update(std::int64_t id, const platform::Bytes& xml, const std::stop_token& stop) const {
  auto endpoint = byID(id, Endpoint::Method::put);
  setXML(endpoint, xml);
  client.send(endpoint, stop);
}

void ClassicCalls::remove(std::int64_t id, const std::stop_token& stop) const {
  client.send(byID(id, Endpoint::Method::delete_), stop);
}

}  // namespace jamf
