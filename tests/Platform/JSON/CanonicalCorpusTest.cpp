#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "fuzz/CanonicalJSONCheck.h"

namespace {

TEST(CanonicalCorpusTest, EveryRuleHoldsForTheWholeCorpus) {
  std::size_t count = 0;
  for (const auto& entry :
       std::filesystem::directory_iterator(ORVIK_SOURCE_FOLDER "/fuzz/corpus/CanonicalJSON")) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    ASSERT_FALSE(file.bad()) << entry.path();
    const auto broken = orvik::fuzz::brokenCanonicalRule(bytes);
    EXPECT_FALSE(broken) << entry.path().filename() << ": " << *broken;
    ++count;
  }
  EXPECT_GE(count, 50U);
}

}  // namespace
