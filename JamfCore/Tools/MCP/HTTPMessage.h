#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"

/// The messages of a small HTTP/1.1 server (RFC 9112): a request has a body of Content-Length bytes, and a
/// connection carries one request and its answer. No chunked bodies.
namespace jamf {

struct HTTPRequest {
  std::string method;                          ///< as it stands in the request line
  std::string path;                            ///< the same, with the query
  std::map<std::string, std::string> headers;  ///< names as they were received; of one name the last counts
  platform::Bytes body;

  /// The header of that name in any case. Of two spellings either may answer.
  const std::string* header(std::string_view name) const;

  bool operator==(const HTTPRequest&) const = default;
};

struct HTTPResponse {
  std::int64_t statusCode = 200;
  std::string statusText;
  /// Besides Content-Length and Connection, which are always sent and must not stand here.
  std::map<std::string, std::string> headers;
  platform::Bytes body;

  static HTTPResponse json(platform::Bytes bytes, std::int64_t statusCode = 200);
  /// Without a body.
  static HTTPResponse status(std::int64_t code);

  /// What goes over the wire; the connection is closed behind it.
  platform::Bytes rawBytes() const;

  bool operator==(const HTTPResponse&) const = default;
};

/// Nothing while the bytes don't hold a whole request, and for those that never will. Line ends are CR LF. A
/// header line without a colon is passed over, so is what follows the body. A Content-Length that is no
/// number counts as 0; with a negative one no request ever becomes whole.
std::optional<HTTPRequest> parseHTTPRequest(std::string_view bytes);

/// Takes one request together as its bytes arrive, and looks at each byte once.
class HTTPRequestReader {
 public:
  enum class Progress {
    more,       ///< not whole yet
    whole,      ///< `take` has it
    malformed,  ///< it never becomes whole, whatever comes: what comes is thrown away
  };

  /// Nothing may be appended to a whole request.
  Progress append(std::string_view bytes);

  /// Whether all of the head has arrived.
  bool hasHead() const { return headSize_.has_value(); }
  /// What the head says, without the body; empty before it has arrived.
  const HTTPRequest& head() const { return request_; }
  /// The number behind Content-Length; 0 for none and for what is no number.
  std::int64_t contentLength() const { return contentLength_; }
  /// The bytes of the head with the empty line behind it; of an unfinished one those that have arrived.
  std::size_t headSize() const { return headSize_.value_or(buffer_.size()); }

  /// The whole request. Once.
  HTTPRequest take();

 private:
  bool parseHead();

  platform::Bytes buffer_;
  std::size_t searched_ = 0;  ///< no separator begins before
  std::optional<std::size_t> headSize_;
  std::int64_t contentLength_ = 0;
  HTTPRequest request_;
  bool isMalformed_ = false;
};

}  // namespace jamf
