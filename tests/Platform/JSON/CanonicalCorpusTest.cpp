#include <gtest/gtest.h>

#include "fuzz/CanonicalJSONCheck.h"
#include "tests/Support/FuzzCorpus.h"

namespace {

TEST(FuzzCorpus, CanonicalJSON) {
  orvik::test::replayCorpus("CanonicalJSON", orvik::fuzz::brokenCanonicalRule);
}

}  // namespace
