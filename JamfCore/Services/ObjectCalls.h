#pragma once

#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "JamfCore/Models/CreatedObject.h"
#include "JamfCore/Models/Page.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Services/ListRequest.h"

namespace jamf {

/// The calls that all kinds of objects of the modern API share, below one path, with the path of an older
/// version where there is one. What the services are written with; none of it is for others.
///
/// All calls block and throw `APIError`; an id that can't stand in a path fails without a request.
struct ObjectCalls {
  APIClient& client;
  std::string path;
  std::optional<std::string> fallbackPath = {};

  template <class T>
  Page<T> list(const ListRequest& request, const std::stop_token& stop) const {
    return send<Page<T>>(listEndpoint(request), "", stop);
  }
  template <class T>
  T get(const std::string& id, const std::stop_token& stop) const {
    return send<T>(Endpoint{}, below(id), stop);
  }
  template <class T, class Body>
  T update(const std::string& id, const Body& body, const std::stop_token& stop) const {
    return send<T>(write(Endpoint::Method::put, body), below(id), stop);
  }
  void remove(const std::string& id, const std::stop_token& stop) const;

  template <class Body>
  CreatedObject create(const Body& body, const std::stop_token& stop) const {
    return send<CreatedObject>(write(Endpoint::Method::post, body), "", stop);
  }
  /// The object that was made: as it was answered, or fetched where the server tells its id alone.
  template <class T>
  T createAndGet(const T& object, const std::stop_token& stop) const {
    auto answer = send<Created<T>>(write(Endpoint::Method::post, object), "", stop);
    if (auto* whole = std::get_if<T>(&answer.value)) return std::move(*whole);
    return get<T>(std::get<CreatedObject>(answer.value).id, stop);
  }

  /// Sends to `path` and what follows it, then to the older path where the first is not found.
  template <class T>
  T send(Endpoint endpoint, const std::string& rest, const std::stop_token& stop) const {
    endpoint.path = path + rest;
    return fallbackPath ? client.send<T>(endpoint, *fallbackPath + rest, stop)
                        : client.send<T>(endpoint, stop);
  }

  Endpoint listEndpoint(const ListRequest& request) const;
  /// "/" and the id.
  static std::string below(const std::string& id) { return "/" + pathComponent(id); }

 private:
  template <class T>
  struct Created {
    std::variant<CreatedObject, T> value;

    static Created decode(platform::json::View view) {
      try {
        return {platform::json::decodeValue<T>(view)};
      } catch (const platform::json::DecodingError&) {
        return {platform::json::decodeValue<CreatedObject>(view)};
      }
    }
  };

  template <class Body>
  Endpoint write(Endpoint::Method method, const Body& body) const {
    return writeEndpoint(method, client.encode(body));
  }
  static Endpoint writeEndpoint(Endpoint::Method method, const platform::Bytes& body);
};

}  // namespace jamf
