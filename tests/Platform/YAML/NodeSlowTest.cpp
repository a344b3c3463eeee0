#include <gtest/gtest.h>

#include <string>

#include "Platform/YAML/Node.h"

namespace platform::yaml {
namespace {

TEST(YAMLNodeSlow, ADocumentThatMergesItselfLargerAndLargerIsRefused) {
  std::string text = "k0: &k0 {";
  for (int i = 0; i < 1000; ++i) text += "m" + std::to_string(i) + ": 1, ";
  text += "}\n";
  for (int i = 1; i < 4000; ++i)
    text += "k" + std::to_string(i) + ": &k" + std::to_string(i) + " {<<: *k" + std::to_string(i - 1) + "}\n";
  try {
    parse(text);
    FAIL();
  } catch (const ParseError& error) {
    EXPECT_NE(error.description().find("more than 2000000 values"), std::string::npos) << error.description();
  }
}

}  // namespace
}  // namespace platform::yaml
