#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Config/InstanceConfig.h"
#include "Platform/JSON/Value.h"
#include "orvik/Output/Paint.h"

/// Instances in words. No text holds a secret, and each is safe for a terminal.
namespace orvik::host::instanceText {

/// Several lines: the name, then what is known below it.
std::string page(const InstanceConfig& instance, bool hasSecret, const Paint& paint);
/// The same as members of a JSON line.
platform::json::Value json(const InstanceConfig& instance, bool hasSecret);

/// "Jamf Pro 11.30.1 answers at https://school.example", without a version where it isn't known.
std::string answers(const InstanceConfig& instance, const std::optional<std::string>& version);
/// What a client may do: how many privileges, and which of them allow changes.
std::string privileges(const std::optional<std::vector<std::string>>& privileges);

}  // namespace orvik::host::instanceText
