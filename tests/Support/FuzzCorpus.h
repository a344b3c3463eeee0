#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <string_view>

#include "Platform/Files/Files.h"

namespace orvik::test {

/// Gives `check` the seeds of a fuzz target: as they stand, cut everywhere, and changed at seeded places.
inline void replayCorpus(const char* name,
                         const std::function<std::optional<std::string>(std::string_view)>& check) {
  namespace files = platform::files;
  const auto folder = std::filesystem::path(ORVIK_SOURCE_FOLDER) / "fuzz/corpus" / name;
  const auto seeds = files::visibleNames(folder);
  ASSERT_GE(seeds.size(), 4U);
  std::mt19937 random(20250304);
  for (const auto& seed : seeds) {
    const auto bytes = files::read(folder / seed);
    EXPECT_EQ(check(bytes), std::nullopt) << seed;
    for (std::size_t cut = 0; cut < bytes.size(); cut += 1 + bytes.size() / 200)
      EXPECT_EQ(check(std::string_view(bytes).substr(0, cut)), std::nullopt) << seed << " cut at " << cut;
    for (int round = 0; round < 200; ++round) {
      auto changed = bytes;
      const auto at = random() % changed.size();
      changed[at] = static_cast<char>(random());
      EXPECT_EQ(check(changed), std::nullopt) << seed << " changed at " << at;
    }
  }
}

}  // namespace orvik::test
