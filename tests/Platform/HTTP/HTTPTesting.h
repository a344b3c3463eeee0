#pragma once

#include <gtest/gtest.h>

#include <stop_token>
#include <string>
#include <utility>

#include "Platform/HTTP/HTTPSession.h"

namespace platform::test {

inline HTTPRequest request(std::string url, std::string method = "GET") {
  HTTPRequest made;
  made.url = std::move(url);
  made.method = std::move(method);
  return made;
}

/// The error that a request ends with.
inline HTTPError failure(HTTPSession& session, HTTPRequest sent, const std::stop_token& stop = {}) {
  try {
    const auto response = session.data(std::move(sent), stop);
    ADD_FAILURE() << "answered with " << response.status;
  } catch (const HTTPError& error) {
    return error;
  }
  return {HTTPErrorKind::other, "no failure"};
}

}  // namespace platform::test
