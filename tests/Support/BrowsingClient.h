#pragma once

#include <gtest/gtest.h>

#include <csignal>
#include <cstdint>
#include <optional>
#include <string>

#include "Platform/JSON/Value.h"
#include "tests/Support/JSONLines.h"
#include "tests/Support/RawSocket.h"
#include "tests/Support/RunningProgram.h"

namespace orvik::test {

/// A running `orvik browse --json`, and who asks it over a real socket.
class BrowsingClient {
 public:
  explicit BrowsingClient(const ProgramStart& start) : program_(start) {
    if (!program_.waitFor("\"listening\"")) {
      ADD_FAILURE() << program_.wait().error;
      return;
    }
    const auto url = member(jsonLines(program_.output()).at(0), "url");
    const auto mark = url.find("/#token=");
    EXPECT_EQ(url.rfind("http://127.0.0.1:", 0), 0U) << url;
    port = static_cast<std::uint16_t>(std::stoi(url.substr(url.rfind(':', mark) + 1)));
    token = url.substr(mark + 8);
  }

  /// The whole answer to a request of these lines, without the empty one at the end.
  std::string raw(const std::string& head) const {
    const ::test::RawSocket client(port);
    client.send(head + "\r\n\r\n");
    return client.readToEnd().value_or("nothing");
  }
  /// The same to a request of who has the token.
  std::string get(const std::string& target) const {
    return raw("GET " + target + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
               "\r\nAuthorization: Bearer " + token);
  }
  static std::string bodyOf(const std::string& answer) { return answer.substr(answer.find("\r\n\r\n") + 4); }
  std::string body(const std::string& target) const { return bodyOf(get(target)); }
  platform::json::Value json(const std::string& target) const { return jsonLines(body(target) + "\n").at(0); }

  RunningProgram& program() { return program_; }
  ProgramEnd stop() {
    program_.send(SIGTERM);
    return program_.wait();
  }

  std::uint16_t port = 0;
  std::string token;

 private:
  RunningProgram program_;
};

}  // namespace orvik::test
