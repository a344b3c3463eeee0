#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "JamfCore/Networking/JamfRequesting.h"
#include "Platform/Bytes.h"

namespace jamf {

/// What is asked of the server: where, how and with what. A plain value of raw texts; nothing in it is
/// percent-encoded.
struct Endpoint {
  enum class Method { get, post, put, patch, delete_ };

  std::string path;  ///< relative to the base URL, "api/v1/buildings"
  Method method = Method::get;
  std::vector<QueryItem> queryItems;
  std::optional<platform::Bytes> body;
  std::optional<std::string> contentType;
  /// One more component of the path for what is looked up by its name: a slash in it is no separator.
  std::optional<std::string> name;

  /// The absolute URL below `base`, percent-encoded; here and nowhere else. The base may have a path, with or
  /// without a slash at its end; a query of the base is dropped. Throws `APIError` (invalid base URL) for a
  /// base that is no http or https URL with a host.
  std::string url(std::string_view base) const;

  /// The path as logs show it, raw and without the query.
  std::string shownPath() const { return name ? path + "/" + *name : path; }

  bool operator==(const Endpoint&) const = default;
};

constexpr auto enumTexts(Endpoint::Method) {
  using namespace std::string_view_literals;
  using Method = Endpoint::Method;
  return std::array{std::pair{Method::get, "GET"sv}, std::pair{Method::post, "POST"sv},
                    std::pair{Method::put, "PUT"sv}, std::pair{Method::patch, "PATCH"sv},
                    std::pair{Method::delete_, "DELETE"sv}};
}

/// Whether a text can stand as one component of a request path: not empty, no dot folder, no slash and no
/// control character.
bool isPathComponent(std::string_view text) noexcept;

/// The text itself, an id that a caller gave. Throws `APIError` (request failed, 400, as a server would
/// answer) for one that can't stand in a path.
const std::string& pathComponent(const std::string& id);

}  // namespace jamf
