#include "orvik/Doctor/Check.h"

#include <gtest/gtest.h>

#include "tests/Support/JSONLines.h"

namespace orvik::host {
namespace {

using test::member;

TEST(Check, ALineSaysHowItStandsWhatWasFoundAndWhatToDo) {
  const Paint plain(false);
  EXPECT_EQ(checkText::page(Check::ok("a", "All is well."), plain), "OK       All is well.");
  EXPECT_EQ(checkText::page(Check::warning("a", "It is late.", "Go home."), plain),
            "WARNING  It is late. Go home.");
  EXPECT_EQ(checkText::page(Check::failed("a", "It broke.", ""), plain), "FAILED   It broke.");
  auto check = Check::ok("a", "Several:");
  check.lines = {"one", "two"};
  EXPECT_EQ(checkText::page(check, plain), "OK       Several:\n           one\n           two");
}

TEST(Check, NothingFromElsewhereControlsTheTerminal) {
  auto check = Check::warning("a", "a\x1b[2Jb", "c\nd");
  check.lines = {"e\x1b[2J"};
  const auto page = checkText::page(check, Paint(false));
  EXPECT_EQ(page.find('\x1b'), page.npos);
  EXPECT_EQ(page, "WARNING  a␛[2Jb c d\n           e␛[2J");
}

TEST(Check, ScriptsReadTheSameWithDetails) {
  auto check = Check::warning("token", "Short.", "Lengthen it.");
  check.details.set("seconds", 30);
  const auto json = checkText::json(check);
  EXPECT_EQ(member(json, "event"), "check");
  EXPECT_EQ(member(json, "check"), "token");
  EXPECT_EQ(member(json, "status"), "warning");
  EXPECT_EQ(member(json, "text"), "Short.");
  EXPECT_EQ(member(json, "advice"), "Lengthen it.");
  EXPECT_EQ(member(json, "seconds"), "30");
  EXPECT_EQ(member(checkText::json(Check::ok("a", "b")), "advice"), "(none)");
}

}  // namespace
}  // namespace orvik::host
