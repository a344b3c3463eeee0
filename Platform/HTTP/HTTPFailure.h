#pragma once

#include <string>

#include "Platform/HTTP/HTTPSession.h"

namespace platform::detail {

/// What is known about a transfer that the library gave up.
struct HTTPFailureFacts {
  int code = 0;         ///< the library's result code
  std::string url;      ///< the last one, after redirects
  std::string text;     ///< the library's own words; they may hold parts of the exchange
  int systemError = 0;  ///< of the connection, 0 when unknown
};

/// The failure in our words and kinds. Never holds a query, a header or a body.
HTTPError failureOf(const HTTPFailureFacts& facts);

/// The host of a URL for a sentence.
std::string hostOf(const std::string& url);

}  // namespace platform::detail
