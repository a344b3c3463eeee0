#include <iostream>
#include <memory>

#include "Platform/Memory.h"
#include "TuvCore/CategorySink.h"
#include "TuvCore/Log.h"
#include "orvikctl/Driver.h"

namespace {

/// Before the constructors of other sources: they need memory already.
[[gnu::constructor(101)]] void begin() { platform::tellWhenMemoryEnds("orvikctl"); }

}  // namespace

int main(int count, char** values) {
  std::ios::sync_with_stdio(false);
  // Why a key of the keychain was refused is not part of any result.
  tuv::Log::shared().addSink(std::make_shared<tuv::CategorySink>(
      "encryption", [](const std::string& message) { std::cerr << "orvikctl: " << message << '\n'; }));
  const orvik::ctl::Arguments arguments(values + (count > 0 ? 1 : 0), values + count);
  const int status = orvik::ctl::run(arguments, std::cout, std::cerr);
  std::cout.flush();
  // Results that did not arrive are no success.
  return status == 0 && !std::cout ? 1 : status;
}
