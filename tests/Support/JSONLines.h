#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "Platform/JSON/Value.h"
#include "Platform/JSON/View.h"

namespace orvik::test {

/// Every line of a text, read as JSON: a line that is none fails the test.
inline std::vector<platform::json::Value> jsonLines(const std::string& text) {
  std::vector<platform::json::Value> values;
  for (std::size_t start = 0; start < text.size();) {
    const auto end = text.find('\n', start);
    EXPECT_NE(end, text.npos) << "the last line has no end";
    const auto document = platform::json::Document::parse(text.substr(start, end - start));
    values.push_back(platform::json::Value::from(document->root()));
    start = end + 1;
  }
  return values;
}

/// A member's text, or its JSON when it is no text; "(none)" when it isn't there.
inline std::string member(const platform::json::Value& line, std::string_view name) {
  const auto* value = line.find(name);
  if (value == nullptr) return "(none)";
  return value->string() != nullptr ? *value->string() : std::string(value->text());
}

}  // namespace orvik::test
