#pragma once

#include <atomic>
#include <filesystem>
#include <map>
#include <string>

#include "OrvikCore/Store/PackLookup.h"

namespace orvik::test {

/// Packed objects that lie in memory. Filled before it is handed out; then any thread may ask.
class MemoryPacks : public PackLookup {
 public:
  std::map<std::string, platform::Bytes, std::less<>> objects;
  std::atomic<int> asked{0};

  bool contains(std::string_view hash, const std::filesystem::path&) noexcept override {
    ++asked;
    return objects.contains(hash);
  }
  std::optional<platform::Bytes> data(std::string_view hash, const std::filesystem::path&) noexcept override
      try {
    ++asked;
    const auto entry = objects.find(hash);
    return entry == objects.end() ? std::nullopt : std::optional(entry->second);
  } catch (...) {
    return std::nullopt;
  }
};

}  // namespace orvik::test
