#pragma once

#include <cstddef>
#include <optional>
#include <stop_token>
#include <type_traits>
#include <utility>
#include <vector>

#include "JamfCore/Services/OrCancelled.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Concurrency/TaskGroup.h"

namespace jamf {

/// `transform(item, stop)` of each item, on threads of which at most `maxConcurrent` run at a time. The
/// results stand in the order of the items, whichever came first.
///
/// The first transform that fails fails the call, once the others have ended: they are asked to stop through
/// the token that they get, and no further one is started. Throws what that one threw, or
/// `platform::CancellationError` when `stop` had been requested by then.
template <class Item, class Transform>
auto mapConcurrently(const std::vector<Item>& items, std::size_t maxConcurrent, const Transform& transform,
                     const std::stop_token& stop = {}) {
  using Result = std::invoke_result_t<const Transform&, const Item&, const std::stop_token&>;
  std::vector<std::optional<Result>> arrived(items.size());
  orCancelled(stop, [&] {
    platform::TaskGroup<Result>::run(
        items.size(), maxConcurrent, stop,
        [&](std::size_t index, const std::stop_token& groupStop) {
          platform::throwIfCancelled(groupStop);
          return transform(items[index], groupStop);
        },
        [&](std::size_t index, Result result) { arrived[index].emplace(std::move(result)); });
  });
  std::vector<Result> results;
  results.reserve(items.size());
  for (auto& each : arrived) results.push_back(*std::move(each));
  return results;
}

}  // namespace jamf
