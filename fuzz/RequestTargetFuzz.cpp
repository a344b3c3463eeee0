// Any bytes as the address that the explorer's server is asked for. What must hold for all of them is in
// RequestTargetCheck.h, so that the tests can replay the corpus without this compiler.

#include <fmt/core.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "fuzz/RequestTargetCheck.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  if (const auto broken = orvik::fuzz::brokenRequestTargetRule(bytes)) {
    fmt::print(stderr, "{}\n", *broken);
    std::abort();
  }
  return 0;
}
