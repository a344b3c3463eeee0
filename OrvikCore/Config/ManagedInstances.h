#pragma once

#include <string_view>

#include "Platform/UUID.h"

namespace orvik::ManagedInstances {

/// The identity of an instance that is known by its URL and client alone, so that it keeps its folder when a
/// machine is set up anew: a name-based UUID (RFC 4122, version 5 marks) of the first 16 bytes of
///
///     SHA-256(lower-cased URL + "|" + client ID)
///
/// The URL counts without case, the client ID with it. Never change: the result stands in folders.
platform::UUID stableID(std::string_view url, std::string_view clientID);

}  // namespace orvik::ManagedInstances
