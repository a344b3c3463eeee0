#pragma once

#include <string>
#include <vector>

#include "Platform/JSON/Value.h"
#include "orvik/Output/Paint.h"
#include "orvik/Status/InstanceState.h"

namespace orvik::host {

/// An instance and what is to be made of it.
struct JudgedInstance {
  InstanceState state;
  StatusVerdict verdict;
};

/// What `orvik status` found, as people and scripts read it.
namespace statusText {

/// The lines of a table, with the troubles of each instance below its row.
std::vector<std::string> table(const std::vector<JudgedInstance>& instances, platform::Date now,
                               const Paint& paint);
/// An `instance` line; what isn't known has no member.
platform::json::Value json(const JudgedInstance& instance, platform::Date now);

}  // namespace statusText

}  // namespace orvik::host
