#pragma once

#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Files/Files.h"
#include "Platform/Hex.h"

namespace orvik::test {

/// Bytes that a parser of one of the seeds has not seen: a seed with up to eight changes, each of a byte, of
/// a piece that is cut out or doubled, or of a piece of another seed that is put in.
inline std::string mutation(const std::vector<std::string>& seeds, std::mt19937_64& random) {
  const auto below = [&](std::size_t end) { return static_cast<std::size_t>(random() % (end + 1)); };
  auto bytes = seeds[random() % seeds.size()];
  for (auto changes = 1 + random() % 8; changes > 0; --changes) {
    const auto at = below(bytes.size());
    const auto length = std::min(below(64), bytes.size() - at);
    switch (random() % 4) {
      case 0:
        if (at < bytes.size()) bytes[at] = static_cast<char>(random());
        break;
      case 1:
        bytes.erase(at, length);
        break;
      case 2:
        bytes.insert(at, bytes.substr(at, length));
        break;
      default: {
        const auto& other = seeds[random() % seeds.size()];
        bytes.insert(at, other.substr(below(other.size()), 64));
      }
    }
  }
  return bytes;
}

/// Gives `check` the seeds of a fuzz target: as they stand, cut everywhere, and changed at seeded places.
/// Goes on with mutations for as many seconds as the environment's ORVIK_FUZZ_SECONDS says, and prints how
/// many; ORVIK_FUZZ_SEED chooses other ones.
inline void replayCorpus(const char* name,
                         const std::function<std::optional<std::string>(std::string_view)>& check) {
  namespace files = platform::files;
  const auto folder = std::filesystem::path(ORVIK_SOURCE_FOLDER) / "fuzz/corpus" / name;
  std::vector<std::string> seeds;
  std::size_t count = 0;
  const auto given = [&](std::string_view bytes) {
    ++count;
    return check(bytes);
  };
  std::mt19937 random(20250304);
  for (const auto& seed : files::visibleNames(folder)) {
    const auto& bytes = seeds.emplace_back(files::read(folder / seed));
    EXPECT_EQ(given(bytes), std::nullopt) << seed;
    for (std::size_t cut = 0; cut < bytes.size(); cut += 1 + bytes.size() / 200)
      EXPECT_EQ(given(std::string_view(bytes).substr(0, cut)), std::nullopt) << seed << " cut at " << cut;
    for (int round = 0; round < 200 && !bytes.empty(); ++round) {
      auto changed = bytes;
      const auto at = random() % changed.size();
      changed[at] = static_cast<char>(random());
      EXPECT_EQ(given(changed), std::nullopt) << seed << " changed at " << at;
    }
  }
  ASSERT_GE(seeds.size(), 4U);

  const char* const text = std::getenv("ORVIK_FUZZ_SECONDS");
  if (text == nullptr) return;
  const auto end =
      std::chrono::steady_clock::now() + std::chrono::duration<double>(std::strtod(text, nullptr));
  const char* const seed = std::getenv("ORVIK_FUZZ_SEED");
  std::mt19937_64 dice(seed == nullptr ? 1 : std::strtoull(seed, nullptr, 10));
  while (std::chrono::steady_clock::now() < end) {
    const auto bytes = mutation(seeds, dice);
    ASSERT_EQ(given(bytes), std::nullopt) << "of " << platform::hexEncode(bytes);
  }
  fmt::print("{}: {} inputs\n", name, count);
}

}  // namespace orvik::test
