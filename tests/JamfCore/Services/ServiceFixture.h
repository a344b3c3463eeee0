#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/JamfCore/ClientFixture.h"

namespace jamf::test {

/// A server that answers by the test's script, with a client as services take it.
struct ServiceFixture : ClientFixture {
  using ClientFixture::ClientFixture;

  std::shared_ptr<APIClient> shared() { return {std::shared_ptr<void>(), &client}; }

  /// "GET /api/v1/scripts?page=0" for each request, in the order of their arrival.
  std::vector<std::string> asked() const {
    std::vector<std::string> lines;
    for (const auto& request : requests()) lines.push_back(request.method() + " " + request.target());
    return lines;
  }
};

/// The answers to what a path is asked by a method; 404 for all else.
struct Route {
  std::string method;
  std::string target;  ///< with the query
  std::string answer;
};

inline support::ScriptedServer::Script routes(std::vector<Route> known) {
  return [known = std::move(known)](ClientFixture::Exchange& exchange) {
    for (const auto& route : known)
      if (route.method == exchange.request.method() && route.target == exchange.request.target())
        return exchange.send(route.answer);
    exchange.send(support::answer(404, "{\"httpStatus\":404,\"errors\":[]}"));
  };
}

}  // namespace jamf::test
