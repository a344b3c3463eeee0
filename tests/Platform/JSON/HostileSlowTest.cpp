#include <string>

#include <gtest/gtest.h>

#include "Platform/Error.h"
#include "Platform/JSON/Canonical.h"
#include "Platform/JSON/View.h"

namespace platform::json {
namespace {

TEST(HostileSlowTest, AHundredMegabytesOfGarbageAreRefused) {
  for (const char byte : {'[', '"', '\xFF'}) {
    const std::string garbage(std::size_t{100} << 20, byte);
    EXPECT_EQ(canonical(garbage), std::nullopt) << byte;
    EXPECT_THROW(Document::parse(garbage), ParseError) << byte;
  }
}

TEST(HostileSlowTest, ATextBeyondAGibibyteIsAnErrorAndNotWritten) {
  std::string text(511, '[');
  for (int i = 0; i < 1'100'000; ++i) text += "1,";
  text.back() = ']';
  text.append(510, ']');
  EXPECT_THROW(canonical(text), Error);
  EXPECT_EQ(canonical("[1]"), "[\n  1\n]");
}

}  // namespace
}  // namespace platform::json
