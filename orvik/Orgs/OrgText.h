#pragma once

#include <string>

#include "JamfCore/Persistence/Records.h"
#include "Platform/JSON/Value.h"
#include "orvik/Output/Paint.h"

/// Organizations in words. No text holds a secret, and each is safe for a terminal.
namespace orvik::host::orgText {

/// Several lines: the name, then what is known below it.
std::string page(const jamf::JamfOrganization& organization, bool hasSecret, const Paint& paint);
/// The same as members of a JSON line.
platform::json::Value json(const jamf::JamfOrganization& organization, bool hasSecret);

}  // namespace orvik::host::orgText
