#include <gtest/gtest.h>

#include "tests/Support/Commands.h"
#include "tests/Support/Golden.h"
#include "tests/Support/SampleFolder.h"
#include "tests/Support/Tool.h"

// The real program, as a shell sees it.

namespace {

using namespace orvik;

const std::string program = ORVIK_PROGRAM_FOLDER "/orvikctl";

test::CommandResult orvikctl(const std::vector<std::string>& arguments) {
  return test::runProgram(program, arguments);
}

TEST(Program, PrintsTheUsage) {
  const auto usage = platform::files::read(test::goldenPath("orvikctl/usage.txt"));
  for (const auto& result : {orvikctl({}), orvikctl({"help"})}) {
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, usage);
    EXPECT_EQ(result.err, "");
  }
  const auto bogus = orvikctl({"bogus"});
  EXPECT_EQ(bogus.status, 1);
  EXPECT_EQ(bogus.out, "");
  EXPECT_EQ(bogus.err, "orvikctl: unknown command bogus\n" + usage);
}

TEST(Program, ListsAndVerifiesAsTheLibraryDoes) {
  const test::SampleFolder sample;
  const auto path = sample.folder.path().string();
  const auto listed = orvikctl({"list", path});
  EXPECT_EQ(listed.status, 0);
  EXPECT_EQ(listed.out, test::runTool({"list", path}).out);
  EXPECT_EQ(orvikctl({"verify", path}).out, "✓ 2025-03-04T091500Z: 4 objects and files intact\n");
  platform::files::remove(sample.index());
  const auto broken = orvikctl({"verify", path, test::SampleFolder::backupID});
  EXPECT_EQ(broken.status, 1);
  EXPECT_EQ(broken.out, "✗ policies: index missing\n1 problem(s) in 2025-03-04T091500Z\n");
  EXPECT_EQ(broken.err, "");
}

TEST(Program, FailsOnStandardError) {
  const auto result = orvikctl({"verify", "/nowhere"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_EQ(result.err, "orvikctl: no such backup\n");
}

TEST(Program, ResultsThatCouldNotBeWrittenAreNoSuccess) {
  const auto result = test::runProgram("/bin/sh", {"-c", "'" + program + "' list /nowhere >/dev/full"});
  EXPECT_EQ(result.status, 1);
}

TEST(Program, TheNamesOfTheStoreAreThoseThatOpenSSLComputes) {
  const test::SampleFolder sample;
  const auto store = sample.repository.store();
  for (const auto& name : {sample.json, sample.xml, sample.package})
    EXPECT_EQ(test::opensslDigest("sha256", store.objectURL(name)), name);
  EXPECT_EQ(test::opensslDigest("sha256", store.fileURL(sample.fileDigest)), sample.fileDigest);
}

}  // namespace
