#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "OrvikCore/Format/BackupManifest.h"
#include "Platform/Date.h"

/// Texts of both reports.
namespace orvik::reportText {

/// Of a name or a message, in characters.
inline constexpr std::size_t longestName = 200;
inline constexpr std::size_t longestMessage = 600;

/// Anybody's text as one line of at most so many characters; a longer one ends in "…". Line ends become
/// blanks, so that a name can't begin a line of its own in a report.
std::string line(std::string_view text, std::size_t mostCharacters = longestName);

/// "2025-03-04 10:15:00 +01:00", in the current zone: a report is read elsewhere, too, and a day has one form
/// in every country.
std::string dateAndTime(platform::Date date);

/// "<url> · version <version>", the version "unknown" where the server didn't tell.
std::string server(const BackupManifest& manifest);
/// How long the run took; never negative.
std::string duration(const BackupManifest& manifest);
/// Its title, or its ID when it has none.
std::string title(const SectionSummary& section);

}  // namespace orvik::reportText
