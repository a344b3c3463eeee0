#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "TuvCore/Locked.h"

namespace orvik {

/// The text that a search looks through, by the name of the object that it was taken from: names are content
/// addresses, so a text never grows stale. Held in memory only. There is no eviction: a full cache takes no
/// more texts, and a search is slower then and as correct.
///
/// Any thread may call; the lock is never held while a text is made, so two threads may make the same one,
/// and its size then counts twice.
class SearchTextCache {
 public:
  using Text = std::shared_ptr<const std::string>;

  static constexpr std::size_t defaultLimit = 268'435'456;  ///< bytes: 256 MiB

  /// The one of this process.
  static SearchTextCache& shared();

  explicit SearchTextCache(std::size_t bytes = defaultLimit) : limit(bytes) {}

  /// The text of a key, made by `load` where it isn't known. Throws what `load` throws.
  Text text(std::string_view key, const std::function<std::string()>& load);

  /// The texts of many keys under one lock; null for those that aren't known.
  std::vector<Text> held(const std::vector<std::string_view>& keys) const;

  /// Bytes of all texts that were taken.
  std::size_t bytesHeld() const;

  const std::size_t limit;  ///< bytes

 private:
  struct Hash {
    using is_transparent = void;
    /// Keys are digests, or as good as: their beginning tells them apart.
    std::size_t operator()(std::string_view key) const noexcept {
      return std::hash<std::string_view>()(key.substr(0, 16));
    }
  };
  struct State {
    std::unordered_map<std::string, Text, Hash, std::equal_to<>> texts;
    std::size_t bytes = 0;
  };
  tuv::Locked<State> state_;
};

}  // namespace orvik
