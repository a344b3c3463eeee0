#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "OrvikCore/Store/GarbageCollection.h"
#include "OrvikCore/Store/Retention.h"
#include "OrvikCore/Store/StoreLeftovers.h"
#include "Platform/JSON/Value.h"

namespace orvik::host {

/// Lines for people of what a command found or plans. Many of a kind are summed up.
namespace careText {

std::vector<std::string> verdicts(const std::vector<RetentionVerdict>& verdicts, RetentionPolicy policy);
std::vector<std::string> collection(const CollectionPlan& plan);
std::vector<std::string> leftovers(const StoreLeftovers& leftovers);

}  // namespace careText

/// The same as JSON lines, one for each entry, none left out: `{"event":"verdict",...}` for a backup,
/// `{"event":"garbage",...}` for what the store can do without, `{"event":"leftover",...}` for what a crash
/// left.
namespace careJSON {

using Lines = std::vector<platform::json::Value>;
Lines verdicts(const std::vector<RetentionVerdict>& verdicts);
Lines collection(const CollectionPlan& plan);
Lines leftovers(const StoreLeftovers& leftovers);

}  // namespace careJSON

}  // namespace orvik::host
