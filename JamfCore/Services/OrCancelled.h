#pragma once

#include <stop_token>

#include "Platform/Concurrency/Cancellation.h"

namespace jamf {

/// What `body` gives. A stop ends a request with the transport error that every failed transfer is; whatever
/// `body` throws once `stop` was requested becomes the `platform::CancellationError` that it is.
template <class Body>
auto orCancelled(const std::stop_token& stop, const Body& body) {
  try {
    return body();
  } catch (...) {
    platform::throwIfCancelled(stop);
    throw;
  }
}

}  // namespace jamf
