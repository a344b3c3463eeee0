#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The parts of an absolute URL (RFC 3986), each in its percent-encoded form.
struct URL {
  std::string scheme;  ///< lower case
  std::string host;    ///< in the case written; may be empty; an IPv6 address with its brackets
  std::optional<int> port;
  std::string path;   ///< with its leading slash, or empty
  std::string query;  ///< without the question mark

  /// Nothing for a text that is no URL: no scheme, blanks or control characters, a bad port. User and
  /// password are dropped, so is a fragment.
  static std::optional<URL> parse(std::string_view text);

  std::string text() const;
  /// The port that is stated, else that of http or https, else 0.
  int effectivePort() const;

  bool operator==(const URL&) const = default;
};

/// Percent-encodes raw text for a URL's path. Slashes stay; a percent sign is encoded too.
std::string percentEncodePath(std::string_view raw);

/// The same for one component of a path: a slash is encoded as well.
std::string percentEncodePathComponent(std::string_view raw);

/// Percent-encodes raw text as a name or a value of a query: what a query forbids, and "&", "=" and "#". "+"
/// stays.
std::string percentEncodeQueryItem(std::string_view raw);

/// Undoes percent-encoding; what is no valid escape stays as it is, and so does "+".
std::string percentDecode(std::string_view text);

}  // namespace platform
