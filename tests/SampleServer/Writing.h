#pragma once

#include "Platform/JSON/Value.h"
#include "tests/SampleServer/Client.h"

namespace sample {

using platform::json::Value;

inline Value valueOf(const Received& answer) {
  const auto document = answer.json();
  EXPECT_TRUE(document) << answer.body;
  return document ? Value::from(document->root()) : Value();
}

/// A server and a client that may write.
class Writing : public testing::Test {
 protected:
  SampleServer server_;
  AuthorizedClient client_{server_};

  Value get(const std::string& path) {
    const Received answer = client_.get(path);
    EXPECT_EQ(answer.status, 200) << path << "\n" << answer.body;
    return valueOf(answer);
  }
  /// The id of what a POST made.
  std::string create(const std::string& path, const std::string& body) {
    const Received answer = client_.write("POST", path, body);
    EXPECT_EQ(answer.status, 201) << answer.body;
    const Value made = valueOf(answer);
    const Value* id = made.find("id");
    return id && id->string() ? *id->string() : std::string();
  }
  /// The names in a list of the Pro interface.
  std::vector<std::string> names(const std::string& path, const char* key = "name") {
    std::vector<std::string> found;
    const Value list = get(path);
    for (const Value& one : *list.find("results")->array_()) found.push_back(*one.find(key)->string());
    return found;
  }
  /// Expects the refusal of a request: its status, and the code and field of its one error.
  void expectRefused(const Received& answer, int status, const char* code,
                     std::optional<std::string_view> field) {
    EXPECT_EQ(answer.status, status) << answer.body;
    const auto document = answer.json();
    ASSERT_TRUE(document) << answer.body;
    EXPECT_EQ(document->root()["httpStatus"]->int64(), status);
    const auto errors = document->root()["errors"]->elements();
    ASSERT_EQ(errors.count(), 1U) << answer.body;
    EXPECT_EQ((*errors.begin())["code"]->string(), code);
    EXPECT_EQ((*errors.begin())["field"]->string(), field) << answer.body;
  }
};

inline std::string percentEncoded(std::string_view text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string out;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    out += '%';
    out += digits[byte >> 4];
    out += digits[byte & 15];
  }
  return out;
}

}  // namespace sample
