#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "OrvikCore/Format/SectionSummary.h"
#include "OrvikCore/Store/CleanupResult.h"
#include "OrvikCore/Store/StoreLeftovers.h"
#include "Platform/Date.h"
#include "orvik/Output/ProgressView.h"

/// Numbers and results as sentences.
namespace orvik::host::wording {

/// "1 object", "1,234 objects".
std::string counted(std::int64_t count, std::string_view noun);
/// "0.8 s", "42 s", "3 min 5 s", "2 h 4 min".
std::string duration(std::chrono::duration<double> duration);
/// The same without the smaller unit: "42 s", "3 min".
std::string roughly(std::chrono::duration<double> duration);
/// The same, and from two days on whole days: "42 s", "3 h", "3 days".
std::string distance(std::chrono::duration<double> duration);
/// How long before `now` that was: "42 s ago", "3 days ago"; of a later time "3 min ahead of this machine's
/// clock".
std::string ago(platform::Date date, platform::Date now);

/// A text as a word for a shell, in quotes where it needs them.
std::string shellWord(const std::string& text);

/// "42 objects, 3 new, 1 changed": only what isn't zero.
std::string counts(const ChangeCounts& counts);
/// "3 new, 1 changed": the same without the number of all; empty when nothing happened.
std::string changes(const ChangeCounts& counts);
/// Whether a section that ended so could have been read better.
bool isWarning(SectionSummary::Status status);
/// Why a section was not read, or not all of it: "not permitted: MESSAGE".
std::string because(const SectionSummary& summary);
/// One line for a section that is finished: ID, and counts or why there are none. Empty for a disabled one.
std::string section(const SectionSummary& summary);

/// "2 backups, 30 objects and 1 package file; 1.2 MB": only what isn't zero.
std::string deleted(const CleanupResult& result, const std::optional<RemovedLeftovers>& leftovers = {});

/// What a finished backup holds, took and lacks, several lines, each with its end.
std::string summary(const BackupOutcome& outcome);

/// The sections that were not read as they should, a line for each.
std::string warnings(const BackupManifest& manifest);
/// What a backup would store and download, several lines, the last without its end.
std::string simulated(const SimulationOutcome& outcome);

}  // namespace orvik::host::wording
