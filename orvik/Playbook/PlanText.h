#pragma once

#include <string>
#include <vector>

#include "JamfCore/Automation/PlaybookPlan.h"
#include "JamfCore/Automation/PlaybookRunResult.h"
#include "Platform/JSON/Value.h"
#include "orvik/Output/Paint.h"

/// What a playbook would do and did, in words. Each text is safe for a terminal.
namespace orvik::host::planText {

/// A table; below an update the fields that differ, from what the server has to what is declared, below a
/// failure why.
std::vector<std::string> lines(const jamf::PlaybookPlan& plan, const Paint& paint);
/// "1 to create, 2 to update, 3 unchanged", or "No resources declared".
std::string summary(const jamf::PlaybookPlan& plan);

/// `updated    Policy  "Install Office"`, and why where it failed.
std::string line(const jamf::PlaybookRunResult::Entry& entry, const Paint& paint);
platform::json::Value json(const jamf::PlaybookRunResult::Entry& entry);

}  // namespace orvik::host::planText
