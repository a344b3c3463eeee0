#pragma once

#include <string>
#include <vector>

#include "OrvikCore/Care/FolderCheck.h"
#include "OrvikCore/Care/Repair.h"
#include "Platform/JSON/Value.h"
#include "orvik/Output/Paint.h"

/// What checks and repairs have to tell.
namespace orvik::host::findingText {

/// Lines for people: damage, then warnings, each with its path; of many of a kind the first.
std::vector<std::string> lines(const std::vector<Finding>& findings, const Paint& paint);
/// What was looked at, in one sentence.
std::string scope(const FolderCheck& check);
/// "2 findings of damage and 1 warning"; "no damage" where there is none.
std::string verdict(std::size_t damage, std::size_t warnings);

/// As members of a JSON line: severity, kind, path, text, and who needs it.
platform::json::Value json(const Finding& finding);
/// The numbers of a check.
platform::json::Value numbers(const FolderCheck& check);

/// The steps of a repair as lines for people, and as JSON lines `{"event":"repair",...}`, none left out.
std::vector<std::string> steps(const RepairPlan& plan);
std::vector<platform::json::Value> stepsJSON(const RepairPlan& plan);
/// What a repair does, as the object of "would" and without an end.
std::string done(const RepairResult& result);

}  // namespace orvik::host::findingText
