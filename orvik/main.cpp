#include "Platform/Memory.h"
#include "orvik/Host.h"

namespace {

/// Before the constructors of other sources: they need memory already.
[[gnu::constructor(101)]] void begin() { platform::tellWhenMemoryEnds("orvik"); }

}  // namespace

int main(int count, char** values) {
  return orvik::host::run({values + (count > 0 ? 1 : 0), values + count});
}
