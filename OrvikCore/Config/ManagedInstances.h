#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Config/InstanceConfig.h"
#include "Platform/PropertyList/PropertyList.h"
#include "Platform/UUID.h"

/// The instances that an organisation forces on a machine.
namespace orvik::ManagedInstances {

struct Result {
  std::vector<InstanceConfig> instances;
  std::vector<std::string> warnings;  ///< about elements that are left out, and secrets that are not sealed
};

/// Reads the forced value: an array of dictionaries with the texts "URL", "ClientID" and "ClientSecret" and,
/// not required, "Name" and "FileShareMountPath". Anything else gives an empty result; an element that lacks
/// something is a warning and stops no other.
Result parse(const platform::plist::Value& value);

/// The identity of an instance that is known by its URL and client alone, so that it keeps its folder when a
/// machine is set up anew: a name-based UUID (RFC 4122, version 5 marks) of the first 16 bytes of
///
///     SHA-256(lower-cased URL + "|" + client ID)
///
/// The URL counts without case, the client ID with it. Never change: the result stands in folders.
platform::UUID stableID(std::string_view url, std::string_view clientID);

}  // namespace orvik::ManagedInstances
