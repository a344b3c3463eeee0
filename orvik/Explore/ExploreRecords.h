#pragma once

#include <string>

#include "OrvikCore/Explore/BackupComparison.h"
#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Explore/ObjectHistory.h"
#include "Platform/JSON/Value.h"

/// What a backup holds as records for scripts: the JSON lines of the commands, and what the explorer's page
/// is made of.
namespace orvik::host::exploreRecords {

using platform::json::Value;

Value backup(const BackupReader& backup);
Value section(const BackupReader::Section& section, const std::string& backupID);
Value entry(const BackupReader::Entry& entry, const std::string& backupID);
Value hit(const SearchHit& hit, const std::string& backupID);
/// Without the fields that changed.
Value version(const ObjectVersion& version, const std::string& sectionID, const std::string& id);
/// Without the fields that changed.
Value difference(const BackupComparison::Difference& difference);

}  // namespace orvik::host::exploreRecords
