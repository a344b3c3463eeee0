#include <gtest/gtest.h>

#include "fuzz/HTTPRequestCheck.h"
#include "fuzz/JSONRPCCheck.h"
#include "tests/Support/FuzzCorpus.h"

namespace {

TEST(FuzzCorpus, HTTPRequest) {
  orvik::test::replayCorpus("HTTPRequest", orvik::fuzz::brokenHTTPRequestRule);
}

TEST(FuzzCorpus, JSONRPC) { orvik::test::replayCorpus("JSONRPC", orvik::fuzz::brokenJSONRPCRule); }

}  // namespace
