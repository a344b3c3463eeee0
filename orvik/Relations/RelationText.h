#pragma once

#include <string>

#include "JamfCore/Automation/RelationRecords.h"
#include "orvik/Output/Report.h"
#include "orvik/Relations/Relations.h"

/// Relations in words, as JSON lines and as drawings. Every text is safe for a terminal.
namespace orvik::host::relationText {

/// Prints what a command found, without its last line: tables, or JSON lines.
void print(const Relations& relations, const Report& report);
void print(const jamf::ExtensionAttributeValuesResult& values, const Report& report);

/// "1 group, 2 policies, 3 profiles, 4 packages, 5 scripts, 6 computers".
std::string summary(const Relations& relations);
std::string summary(const jamf::ExtensionAttributeValuesResult& values);

/// The members of the last line: a number for each.
platform::json::Value counts(const Relations& relations);

}  // namespace orvik::host::relationText
