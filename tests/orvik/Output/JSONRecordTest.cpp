#include "orvik/Output/JSONRecord.h"

#include <gtest/gtest.h>

#include "tests/Support/JSONLines.h"

namespace orvik::host {
namespace {

using platform::json::Value;

TEST(JSONLine, IsOneLineThatControlsNoTerminalAndReadsBackEqual) {
  const std::string text =
      "a\x1b[2J\n\x7f\xc2\x9b\xE2\x80\xAE"
      "ä\xF0\x9F\x98\x80";
  const auto value = Value::object({{text, text}});
  const auto line = jsonLine(value);
  EXPECT_EQ(line, R"({"a\u001b[2J\n\u007f\u009b\u202eä😀":"a\u001b[2J\n\u007f\u009b\u202eä😀"})");
  EXPECT_EQ(test::jsonLines(line + "\n").at(0), value);
}

TEST(JSONLine, InvalidUTF8IsMended) { EXPECT_EQ(jsonLine(Value("a\xff")), "\"a\xEF\xBF\xBD\""); }

}  // namespace
}  // namespace orvik::host
