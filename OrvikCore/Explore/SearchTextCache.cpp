#include "OrvikCore/Explore/SearchTextCache.h"

#include <algorithm>
#include <utility>

namespace orvik {

SearchTextCache& SearchTextCache::shared() {
  static SearchTextCache cache;
  return cache;
}

SearchTextCache::Text SearchTextCache::text(std::string_view key, const std::function<std::string()>& load) {
  if (auto known = state_.withLock([&](const State& state) {
        const auto found = state.texts.find(key);
        return found != state.texts.end() ? found->second : nullptr;
      }))
    return known;
  auto made = std::make_shared<const std::string>(load());
  state_.withLock([&](State& state) {
    if (made->size() > limit - std::min(state.bytes, limit)) return;
    state.texts.insert_or_assign(std::string(key), made);
    state.bytes += made->size();
  });
  return made;
}

std::vector<SearchTextCache::Text> SearchTextCache::held(const std::vector<std::string_view>& keys) const {
  std::vector<Text> texts;
  texts.reserve(keys.size());
  state_.withLock([&](const State& state) {
    for (const auto key : keys) {
      const auto found = state.texts.find(key);
      texts.push_back(found != state.texts.end() ? found->second : nullptr);
    }
  });
  return texts;
}

std::size_t SearchTextCache::bytesHeld() const {
  return state_.withLock([](const State& state) { return state.bytes; });
}

}  // namespace orvik
