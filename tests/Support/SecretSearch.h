#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Files/Files.h"

namespace orvik::test {

/// Words of which one stands in every secret that tests use: client secrets, tokens and signed addresses of
/// sample servers, and secrets that a test makes up. tests/secrets.txt has them, one a line, and
/// scripts/check-secrets looks for them too.
inline const std::vector<std::string>& secretWords() {
  static const auto words = [] {
    std::vector<std::string> found;
    const auto text = platform::files::read(std::string(ORVIK_SOURCE_FOLDER) + "/tests/secrets.txt");
    for (std::size_t start = 0; start < text.size();) {
      const auto end = std::min(text.find('\n', start), text.size());
      if (end > start) found.push_back(text.substr(start, end - start));
      start = end + 1;
    }
    return found;
  }();
  return words;
}

/// Those that stand in a text.
inline std::vector<std::string> secretsIn(std::string_view text) {
  std::vector<std::string> found;
  for (const auto& word : secretWords())
    if (text.find(word) != text.npos) found.push_back(word);
  return found;
}

/// Fails for each file below a folder that holds one, besides those in which a test itself put it and those
/// that are so long that only a test can have made them.
inline void expectNoSecrets(const std::filesystem::path& folder,
                            const std::set<std::filesystem::path>& exempt = {}) {
  constexpr std::uint64_t longest = 1 << 28;  // bytes
  std::error_code ignored;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder, ignored)) {
    if (!entry.is_regular_file(ignored) || exempt.contains(entry.path())) continue;
    if (const auto content = platform::files::tryRead(entry.path(), longest)) {
      EXPECT_THAT(secretsIn(*content), testing::IsEmpty()) << entry.path();
    }
  }
}

}  // namespace orvik::test
