#include "orvik/Browse/BrowseEndpoint.h"

#include <algorithm>
#include <string>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/JSON/Value.h"
#include "orvik/Browse/PageFiles.h"
#include "orvik/ExitStatus.h"
#include "orvik/JSONRecord.h"
#include "orvik/Loopback.h"

namespace orvik::host {

namespace {

using jamf::HTTPResponse;
using platform::json::Value;

/// The page runs its own scripts alone and asks its own server alone.
constexpr const char* contentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "frame-ancestors 'none'; base-uri 'none'; form-action 'none'";

HTTPResponse refusal(std::int64_t status, const std::string& message) {
  return HTTPResponse::json(jsonLine(Value::object({{"message", message}})), status);
}

std::int64_t statusOf(ExitStatus status) {
  switch (status) {
    case ExitStatus::usage:
      return 400;
    case ExitStatus::credential:
      return 403;
    case ExitStatus::notFound:
      return 404;
    default:
      return 500;
  }
}

/// Nothing where the page has no such file.
std::optional<HTTPResponse> pageFile(std::string_view path) {
  const auto name = path == "/" ? "index.html" : path.substr(1);
  const auto files = pageFiles();
  const auto file = std::ranges::find(files, name, &PageFile::name);
  if (file == files.end()) return std::nullopt;
  auto response = HTTPResponse::status(200);
  response.headers.emplace("Content-Type", mediaTypeOf(name));
  response.body = file->content;
  return response;
}

}  // namespace

HTTPResponse BrowseEndpoint::answer(const jamf::HTTPRequest& request) const {
  auto response = answerUnguarded(request);
  response.headers.insert({{"Cache-Control", "no-store"},
                           {"Content-Security-Policy", contentPolicy},
                           {"Cross-Origin-Resource-Policy", "same-origin"},
                           {"Referrer-Policy", "no-referrer"},
                           {"X-Content-Type-Options", "nosniff"}});
  return response;
}

HTTPResponse BrowseEndpoint::answerUnguarded(const jamf::HTTPRequest& request) const {
  if (!loopback::isForThisMachine(request)) return refusal(403, "This is not the address to ask.");
  if (request.method != "GET") {
    auto refused = refusal(405, "Nothing can be changed here.");
    refused.headers.emplace("Allow", "GET");
    return refused;
  }
  if (auto file = pageFile(std::string_view(request.path).substr(0, request.path.find('?')))) return *file;
  if (!loopback::bearsToken(request, token_)) {
    auto refused = refusal(401, "Open the address that orvik browse has printed.");
    refused.headers.emplace("WWW-Authenticate", "Bearer");
    return refused;
  }
  return told(request);
}

HTTPResponse BrowseEndpoint::told(const jamf::HTTPRequest& request) const try {
  return answers_.answer(RequestTarget::parse(request.path), stop_);
} catch (const platform::CancellationError&) {
  throw;
} catch (const std::exception&) {
  const auto failure = describe(std::current_exception());
  return refusal(statusOf(failure.status), failure.message);
}

}  // namespace orvik::host
