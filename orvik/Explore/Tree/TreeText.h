#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "Platform/JSON/Value.h"
#include "orvik/Explore/Tree/BackupTree.h"
#include "orvik/Output/Report.h"

/// What became of trees, in words. Those that go to a commit are the same everywhere, whatever the language
/// and the time zone of who makes it.
namespace orvik::host::treeText {

/// "2 new, 1 changed", or "no changes".
std::string counts(const TreeChanges::Section& section);

/// "School, 2025-03-05T09:15:00Z: 2 new, 1 changed".
std::string subject(const BackupReader& backup, const TreeChanges& changes);
/// Subject, counts of the sections that changed, what was left out, and the trailer that names the backup.
std::string message(const BackupReader& backup, const TreeChanges& changes);

/// "Left out: policies/12 (Install Office): REASON".
std::string leftOut(const TreeChanges::LeftOut& left);
platform::json::Value leftOutJSON(const TreeChanges::LeftOut& left);

}  // namespace orvik::host::treeText
