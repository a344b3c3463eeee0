#include "JamfCore/Tools/MCP/MinimalHTTPServer.h"

#include <algorithm>
#include <string>
#include <system_error>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Error.h"
#include "Platform/HTTP/URL.h"

namespace jamf {

namespace {

using Progress = HTTPRequestReader::Progress;

constexpr int bindAttempts = 10;
constexpr std::chrono::milliseconds bindPause{200};
/// Requests that are handled at once where nothing else limits them.
constexpr std::size_t mostHandlers = 256;

/// The host of a URL as it is written: the parser would make 127.0.0.1 of 127.1.
std::string_view writtenHost(std::string_view url) {
  url.remove_prefix(url.find("://") + 3);
  url = url.substr(0, url.find_first_of("/?#"));
  url.remove_prefix(url.rfind('@') + 1);  // which is 0 where there is no user
  return url.starts_with('[') ? url.substr(0, url.find(']') + 1) : url.substr(0, url.find(':'));
}

/// Whether the origin is of this machine. Port and scheme don't matter. No URL may hold a backslash, which
/// others take for the end of the host.
bool isLocal(const std::string& origin) {
  if (origin.find('\\') != origin.npos || origin.find("://") == origin.npos) return false;
  if (!platform::URL::parse(origin)) return false;
  const auto host = writtenHost(origin);
  return host == "localhost" || host == "127.0.0.1" || host == "[::1]";
}

bool isPlainNumber(std::string_view text) {
  return !text.empty() && text.size() <= 18 && text.find_first_not_of("0123456789") == text.npos;
}

platform::SocketLoop::Limits loopLimits(const std::optional<MinimalHTTPServer::Limits>& limits) {
  if (!limits) return {};
  return {limits->connections, limits->patience, limits->grace};
}

}  // namespace

MinimalHTTPServer::MinimalHTTPServer(Handler handler, std::optional<Limits> limits)
    : handler_(std::move(handler)),
      limits_(limits),
      handlers_("http handler", limits ? limits->connections : mostHandlers),
      queue_("com.quennelvarn.kelm.mcp-http",
             {.received = [this](auto connection, auto content) { receive(connection, content); },
              .closed = [this](auto connection) { readers_.erase(connection); }},
             loopLimits(limits)) {}

MinimalHTTPServer::~MinimalHTTPServer() { handlers_.close(); }

void MinimalHTTPServer::start(std::uint16_t port) {
  for (int attempt = 1;; ++attempt) {
    {
      const std::lock_guard lock(mutex_);
      if (listener_ != 0) return;
      try {
        listener_ = queue_.listen(port);
        return;
      } catch (const platform::Error&) {
        if (attempt == bindAttempts) throw;
      }
    }
    platform::sleep(bindPause, {});  // nothing ends it early
  }
}

void MinimalHTTPServer::stop() {
  const std::lock_guard lock(mutex_);
  if (std::exchange(listener_, 0) != 0) queue_.stopListening();
}

std::uint16_t MinimalHTTPServer::port() const {
  const std::lock_guard lock(mutex_);
  return listener_;
}

void MinimalHTTPServer::receive(platform::SocketLoop::ID connection, std::string_view content) {
  auto& reader = readers_[connection];
  const auto progress = reader.append(content);
  if (auto refused = refusal(reader, progress)) {
    readers_.erase(connection);
    queue_.hold(connection);
    queue_.answer(connection, refused->rawBytes());
  } else if (progress == Progress::whole) {
    queue_.hold(connection);
    auto request = std::make_shared<const HTTPRequest>(reader.take());
    readers_.erase(connection);
    try {
      handlers_.run([this, connection, request = std::move(request)] {
        try {
          queue_.answer(connection, respond(*request).rawBytes());
        } catch (...) {
          queue_.close(connection);
        }
      });
    } catch (const std::system_error&) {
      queue_.close(connection);  // no thread to be had
    }
  }
}

std::optional<HTTPResponse> MinimalHTTPServer::refusal(const HTTPRequestReader& reader,
                                                       Progress progress) const {
  if (!limits_) return std::nullopt;
  if (progress == Progress::malformed) return HTTPResponse::status(400);
  if (reader.headSize() > limits_->head) return HTTPResponse::status(431);
  if (!reader.hasHead()) return std::nullopt;
  const auto& head = reader.head();
  if (head.header("Transfer-Encoding")) return HTTPResponse::status(411);
  const auto* const length = head.header("Content-Length");
  if (!length) return std::nullopt;
  if (!isPlainNumber(*length)) return HTTPResponse::status(400);
  if (std::cmp_greater(reader.contentLength(), limits_->body)) return HTTPResponse::status(413);
  return std::nullopt;
}

HTTPResponse MinimalHTTPServer::respond(const HTTPRequest& request) const {
  const auto* const origin = request.header("Origin");
  if (origin && !isLocal(*origin)) return HTTPResponse::status(403);
  return handler_(request);
}

}  // namespace jamf
