#pragma once

#include <cstdint>
#include <stop_token>
#include <string>

#include "JamfCore/Networking/APIClient.h"

namespace jamf {

/// The calls that policies and profiles share: reads in JSON, writes in XML. What their services are written
/// with; none of it is for others.
///
/// All calls block and throw `APIError`.
struct ClassicCalls {
  APIClient& client;
  std::string path;  ///< "JSSResource/policies"
  std::string kind;  ///< as a message calls an object: "policy"

  Endpoint byID(std::int64_t id, Endpoint::Method method = Endpoint::Method::get) const;
  /// A slash in the name is no separator. A name that is empty or a dot folder fails.
  Endpoint byName(const std::string& name) const { return by("name", name); }
  Endpoint by(const std::string& property, const std::string& value) const;

  /// The new object's id. The server may have made the object even when its answer tells none, which fails.
  std::int64_t create(const platform::Bytes& xml, const std::stop_token& stop) const;
  void update(std::int64_t id, const platform::Bytes& xml, const std::stop_token& stop) const;
  void remove(std::int64_t id, const std::stop_token& stop) const;
};

}  // namespace jamf
