#include "OrvikCore/Reports/ReportText.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "Platform/Locale/DurationText.h"
#include "Platform/Locale/Text.h"

namespace orvik::reportText {

namespace locale = platform::locale;

namespace {

/// Of a character that people see as one; marks without end are cut off.
constexpr std::size_t longestCharacter = 16;

}  // namespace

std::string line(std::string_view text, std::size_t mostCharacters) {
  const auto bounded = locale::beginning(text, mostCharacters * longestCharacter);
  const auto shown = bounded.substr(0, locale::charactersAfter(bounded, 0, mostCharacters));
  return fmt::format("{}{}", fmt::join(locale::lines(shown), " "), shown.size() < text.size() ? "…" : "");
}

std::string dateAndTime(platform::Date date) {
  const auto text = locale::zonedISO8601(date);
  const auto time = text.find('T');
  const auto fraction = text.find('.', time);
  const auto offset = text.find_first_of("+-", fraction);
  return fmt::format("{} {} {}", text.substr(0, time), text.substr(time + 1, fraction - time - 1),
                     text.substr(offset));
}

std::string server(const BackupManifest& manifest) {
  return fmt::format("{} · version {}", line(manifest.instance.url),
                     line(manifest.jamfProVersion.value_or("unknown")));
}

std::string duration(const BackupManifest& manifest) {
  return locale::durationText(manifest.finishedAt - manifest.startedAt);
}

std::string title(const SectionSummary& section) {
  return line(section.title.empty() ? section.id : section.title);
}

}  // namespace orvik::reportText
