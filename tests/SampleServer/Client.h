#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/JSON/View.h"
#include "SampleServer/SampleServer.h"

namespace sample {

struct Received {
  int status = 0;  ///< 0: the connection ended before a whole answer
  std::string head;
  std::string body;

  bool has(std::string_view line) const { return head.find(line) != std::string::npos; }
  /// Null when the body is no JSON.
  std::shared_ptr<const platform::json::Document> json() const {
    try {
      return platform::json::Document::parse(body);
    } catch (const platform::json::ParseError&) {
      return nullptr;
    }
  }
};

/// One connection that is spoken to byte by byte, so that a test sends what no client library would.
class RawClient {
 public:
  explicit RawClient(std::uint16_t port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    connected_ = ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }
  ~RawClient() { ::close(socket_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  bool connected() const { return connected_; }
  /// The error of the last read, ECONNRESET after a reset.
  int error() const { return error_; }

  void send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent <= 0) return;
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
  }

  /// The next answer of the connection.
  Received receive() {
    Received answer;
    std::size_t end;
    while ((end = buffer_.find("\r\n\r\n")) == std::string::npos) {
      if (!fill()) return answer;
    }
    answer.head = buffer_.substr(0, end + 2);
    std::size_t length = 0;
    if (const std::size_t at = answer.head.find("Content-Length: "); at != std::string::npos) {
      std::from_chars(answer.head.data() + at + 16, answer.head.data() + answer.head.size(), length);
    }
    while (buffer_.size() < end + 4 + length) {
      if (!fill()) return answer;
    }
    answer.body = buffer_.substr(end + 4, length);
    buffer_.erase(0, end + 4 + length);
    std::from_chars(answer.head.data() + 9, answer.head.data() + 12, answer.status);
    return answer;
  }

  Received ask(std::string_view request) {
    send(request);
    return receive();
  }

  /// Whether the server has ended the connection and nothing is left to read.
  bool ended() { return buffer_.empty() && !fill(); }
  /// All bytes until the end.
  std::string drain() {
    while (fill()) {
    }
    return buffer_;
  }

 private:
  bool fill() {
    char bytes[16384];
    const ssize_t got = ::recv(socket_, bytes, sizeof bytes, 0);
    error_ = got < 0 ? errno : 0;
    if (got <= 0) return false;
    buffer_.append(bytes, static_cast<std::size_t>(got));
    return true;
  }

  int socket_;
  bool connected_ = false;
  int error_ = 0;
  std::string buffer_;
};

inline std::string tokenRequest(std::string_view clientID, std::string_view secret) {
  const std::string form = "grant_type=client_credentials&client_id=" + std::string(clientID) +
                           "&client_secret=" + std::string(secret);
  return "POST /api/oauth/token HTTP/1.1\r\nHost: x\r\nContent-Type: application/x-www-form-urlencoded\r\n"
         "Content-Length: " +
         std::to_string(form.size()) + "\r\n\r\n" + form;
}

/// The token in the answer to a token request; empty when there is none.
inline std::string tokenIn(const Received& answer) {
  const auto document = answer.json();
  const auto token = document ? document->root()["access_token"] : std::nullopt;
  return token ? std::string(*token->string()) : std::string();
}

inline std::string freshToken(const SampleServer& server) {
  return tokenIn(RawClient(server.port()).ask(tokenRequest(server.clientID(), server.clientSecret())));
}

inline std::string getRequest(std::string_view path, std::string_view token) {
  return "GET /" + std::string(path) +
         " HTTP/1.1\r\nHost: x\r\nAccept: application/json\r\nAuthorization: Bearer " + std::string(token) +
         "\r\n\r\n";
}

/// A client with a token, on a connection of its own.
class AuthorizedClient : public RawClient {
 public:
  explicit AuthorizedClient(const SampleServer& server)
      : RawClient(server.port()), token_(freshToken(server)) {}

  Received get(std::string_view path) { return ask(getRequest(path, token_)); }
  /// Sends a body of that type; an empty type sends none.
  Received write(std::string_view method, std::string_view path, std::string_view body = {},
                 std::string_view type = "application/json") {
    std::string head = std::string(method) + " /" + std::string(path) +
                       " HTTP/1.1\r\nHost: x\r\nAccept: application/json\r\nAuthorization: Bearer " + token_ +
                       "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n";
    if (!type.empty()) head += "Content-Type: " + std::string(type) + "\r\n";
    return ask(head + "\r\n" + std::string(body));
  }
  const std::string& token() const { return token_; }

 private:
  std::string token_;
};

}  // namespace sample
