#include <gtest/gtest.h>

#include "fuzz/PlaybookYAMLCheck.h"
#include "tests/Support/FuzzCorpus.h"

namespace {

TEST(FuzzCorpus, PlaybookYAML) { orvik::test::replayCorpus("PlaybookYAML", orvik::fuzz::brokenPlaybookRule); }

}  // namespace
