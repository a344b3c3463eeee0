#include "tests/Support/ProgramHost.h"

namespace orvik {
namespace {

using LongPlaybook = test::ProgramHost;

TEST_F(LongPlaybook, DocumentsOfAHundredMegabytesAreRefusedWithASentence) {
  const auto file = home / "long.yaml";
  const auto check = [&](const std::string& text) {
    platform::files::atomicWrite(text, file);
    const auto end = run({"playbook", "check", file.string()});
    EXPECT_THAT(end.error, testing::StartsWith("orvik: "));
    EXPECT_EQ(end.output, "");
    return end.status;
  };
  for (const char fill : {'a', '[', '-'}) {
    EXPECT_EQ(check("name: P\nresources: " + std::string(100'000'000, fill)), 2) << fill;
  }
  EXPECT_EQ(check(std::string(140'000'000, '#')), 1) << "longer than any document that is read";
}

}  // namespace
}  // namespace orvik
