#include "orvikctl/Driver.h"

#include <gtest/gtest.h>

#include "tests/Support/Golden.h"
#include "tests/Support/SampleFolder.h"
#include "tests/Support/Tool.h"

namespace {

using namespace orvik;
using test::runTool;

std::string usageText() { return platform::files::read(test::goldenPath("orvikctl/usage.txt")); }

TEST(Driver, AloneAndAskedForHelpItPrintsTheUsage) {
  for (const ctl::Arguments& arguments :
       {ctl::Arguments{}, {"help"}, {"-h"}, {"--help"}, {"help", "list"}, {"--help", "x", "y"}}) {
    const auto result = runTool(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, usageText());
    EXPECT_EQ(result.err, "");
  }
}

TEST(Driver, AnUnknownCommandFailsWithTheUsage) {
  for (const std::string command : {"bogus", "", "LIST", "lists", "--key", "-H"}) {
    const auto result = runTool({command, "folder"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "orvikctl: unknown command " + command + "\n" + usageText());
  }
}

TEST(Driver, TheFolderCommandsWantAFolder) {
  for (const char* command : {"list", "verify"})
    for (const ctl::Arguments& rest :
         {ctl::Arguments{}, {"--key"}, {"--key", "k.pem"}, {"--key", "folder"}}) {
      ctl::Arguments arguments{command};
      arguments.insert(arguments.end(), rest.begin(), rest.end());
      const auto result = runTool(arguments);
      EXPECT_EQ(result.status, 1);
      EXPECT_EQ(result.out, "");
      EXPECT_EQ(result.err, "orvikctl: instance folder required\n");
    }
}

TEST(Driver, AnOptionTakesWhatStandsBehindIt) {
  const test::SampleFolder sample;
  const auto path = sample.folder.path().string();
  const auto expected = runTool({"list", path});
  EXPECT_EQ(expected.status, 0);
  for (const ctl::Arguments& arguments : {ctl::Arguments{"list", "--key", "k.pem", path},
                                          {"list", path, "--key"},
                                          {"list", "--x", "--y", path}}) {
    const auto result = runTool(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, expected.out);
  }
}

TEST(Driver, OneDashIsAFolder) {
  const auto result = runTool({"list", "-h"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, "disk usage: Zero KB\n");
}

}  // namespace
