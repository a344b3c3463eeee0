#include "SampleServer/RecordTemplate.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <iterator>

#include "Platform/Error.h"
#include "Platform/JSON/Writer.h"
#include "SampleServer/RecordFiles.h"
#include "SampleServer/RecordTexts.h"

namespace sample {
namespace {

using platform::Bytes;
using platform::json::appendString;

std::uint64_t toNumber(std::string_view text) {
  std::uint64_t value = 0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

void appendNumber(Bytes& out, std::uint64_t value) { fmt::format_to(std::back_inserter(out), "{}", value); }
void appendFlag(Bytes& out, bool value) { out += value ? "true" : "false"; }

/// A random object of a section; nothing where the section is empty.
std::optional<std::pair<std::size_t, std::size_t>> pickObject(RecordContext& c, std::string_view sectionID) {
  const auto section = sectionNumber(sectionID);
  const std::size_t count = section ? c.fleet.countOf(*section) : 0;
  const std::uint64_t number = c.draw.next();
  if (count == 0) return std::nullopt;
  return std::pair{*section, static_cast<std::size_t>(number % count)};
}

/// The section, when it has a first object.
std::optional<std::size_t> firstOf(const RecordContext& c, std::string_view sectionID) {
  const auto section = sectionNumber(sectionID);
  return section && c.fleet.countOf(*section) > 0 ? section : std::nullopt;
}

void fillReference(Bytes& out, RecordContext& c, std::string_view argument) {
  const auto object = pickObject(c, argument);
  if (!object || c.draw.chance(15)) {
    out += R"({"id":-1,"name":"None"})";
    return;
  }
  appendReference(out, c.fleet, object->first, object->second);
}

void fillReferences(Bytes& out, RecordContext& c, std::string_view argument) {
  const std::size_t colon = argument.find(':');
  appendReferences(out, c, argument.substr(0, colon), toNumber(argument.substr(colon + 1)));
}

void fillPick(Bytes& out, RecordContext& c, std::string_view argument) {
  const auto choices = static_cast<std::uint64_t>(std::count(argument.begin(), argument.end(), '|')) + 1;
  for (std::uint64_t skip = c.draw.below(choices); skip > 0; --skip)
    argument.remove_prefix(argument.find('|') + 1);
  appendString(out, argument.substr(0, argument.find('|')));
}

void fillBetween(Bytes& out, RecordContext& c, std::string_view argument) {
  const std::size_t colon = argument.find(':');
  appendNumber(out,
               c.draw.between(toNumber(argument.substr(0, colon)), toNumber(argument.substr(colon + 1))));
}

void fillHex(Bytes& out, RecordContext& c, std::string_view argument) {
  for (std::uint64_t left = toNumber(argument); left > 0;) {
    const std::string digits = fmt::format("{:016x}", c.draw.next());
    const std::size_t take = std::min<std::size_t>(left, 16);
    out.append(digits, 0, take);
    left -= take;
  }
}

void fillRemark(Bytes& out, RecordContext& c, std::string_view) {
  std::string text(pools::remarks[c.draw.below(pools::remarks.size())]);
  if (c.revision > 0) text += fmt::format(" Changed {} time(s).", c.revision);
  appendString(out, text);
}

std::size_t randomUser(RecordContext& c) {
  return static_cast<std::size_t>(
      c.draw.below(std::max<std::size_t>(1, c.fleet.countOf(*sectionNumber("users")))));
}

std::string emailOf(RecordContext& c, std::size_t user) {
  return loginName(c.fleet.seed(), user) + "@example.org";
}

/// A point in time of the year before; `fraction` in milliseconds, 1000 for none.
std::string timeText(std::uint64_t number, unsigned fraction) {
  const std::uint64_t day = number % 28 + 1;
  const std::uint64_t month = number / 28 % 12 + 1;
  const std::uint64_t second = number / 336 % 86400;
  std::string text = fmt::format("2026-{:02}-{:02}T{:02}:{:02}:{:02}", month, day, second / 3600,
                                 second / 60 % 60, second % 60);
  if (fraction < 1000) text += fmt::format(".{:03}", fraction);
  return text + "Z";
}

std::string ownTime(RecordContext& c, unsigned steps) {
  const std::uint64_t number = mix(c.key + 4);
  return timeText(number / 8 + steps, number % 5 == 0 ? 1000 : static_cast<unsigned>(number % 1000));
}

/// The member `key` with the device's inventory date, and its comma; nothing where there is no date.
void appendInventoryDate(Bytes& out, const RecordContext& c, std::string_view key, std::string_view date) {
  if (c.inventory.isSet && !c.inventory.text) return;
  fmt::format_to(std::back_inserter(out), "\"{}\":", key);
  appendString(out, date);
  out += ',';
}

std::string inventoryDate(RecordContext& c) {
  if (c.inventory.isSet) return c.inventory.text.value_or("");
  return ownTime(c, c.revision + c.inventory.refreshes);
}

void fillInventoryDate(Bytes& out, RecordContext& c, std::string_view argument) {
  appendInventoryDate(out, c, argument, inventoryDate(c));
}

/// The same as Classic records have it beside the one in UTC: "2026-07-20 08:41:09", in the server's zone.
void fillLocalInventoryDate(Bytes& out, RecordContext& c, std::string_view argument) {
  std::string date = inventoryDate(c).substr(0, 19);
  std::ranges::replace(date, 'T', ' ');
  appendInventoryDate(out, c, argument, date);
}

struct Word {
  std::string_view word;
  RecordTemplate::Fill fill;
};

constexpr Word words[] = {
    {"id", [](Bytes& out, RecordContext& c, std::string_view) { out += c.id; }},
    {"idText", [](Bytes& out, RecordContext& c, std::string_view) { appendString(out, c.id); }},
    {"name", [](Bytes& out, RecordContext& c, std::string_view) { appendString(out, c.name); }},
    {"remark", fillRemark},
    {"assetTag",
     [](Bytes& out, RecordContext& c, std::string_view argument) {
       appendString(out, c.assetTag.value_or(std::string(argument) + c.id));
     }},
    // Settings change by these two alone: a number that grows with each change, a truth value that turns.
    {"level", [](Bytes& out, RecordContext& c,
                 std::string_view argument) { appendNumber(out, toNumber(argument) + c.revision); }},
    {"toggle", [](Bytes& out, RecordContext& c, std::string_view) { appendFlag(out, c.revision % 2 == 0); }},
    {"flag", [](Bytes& out, RecordContext& c, std::string_view) { appendFlag(out, c.draw.chance(50)); }},
    {"smart", [](Bytes& out, RecordContext& c, std::string_view) { appendFlag(out, isSmart(c)); }},
    {"pick", fillPick},
    {"between", fillBetween},
    {"hex", fillHex},
    {"ref", fillReference},
    {"refs", fillReferences},
    {"refID",
     [](Bytes& out, RecordContext& c, std::string_view argument) {
       const auto object = pickObject(c, argument);
       fmt::format_to(std::back_inserter(out), "\"{}\"", object ? numberOf(object->second) : -1);
     }},
    {"refNumber",
     [](Bytes& out, RecordContext& c, std::string_view argument) {
       const auto object = pickObject(c, argument);
       fmt::format_to(std::back_inserter(out), "{}", object ? numberOf(object->second) : -1);
     }},
    {"refName",
     [](Bytes& out, RecordContext& c, std::string_view argument) {
       const auto object = pickObject(c, argument);
       appendString(out, object ? c.fleet.nameOf(object->first, object->second) : std::string());
     }},
    // What all records refer to alike.
    {"firstID",
     [](Bytes& out, RecordContext& c, std::string_view argument) {
       fmt::format_to(std::back_inserter(out), "\"{}\"", firstOf(c, argument) ? numberOf(0) : -1);
     }},
    {"firstName",
     [](Bytes& out, RecordContext& c, std::string_view argument) {
       const auto section = firstOf(c, argument);
       appendString(out, section ? c.fleet.nameOf(*section, 0) : std::string());
     }},
    {"uuid",
     [](Bytes& out, RecordContext& c, std::string_view) {
       const std::uint64_t high = c.draw.next();
       appendUUID(out, high, c.draw.next(), false);
     }},
    {"upperUUID",
     [](Bytes& out, RecordContext& c, std::string_view) {
       const std::uint64_t high = c.draw.next();
       appendUUID(out, high, c.draw.next(), true);
     }},
    // Of the object, so that its list entry and its record agree.
    {"ownUUID", [](Bytes& out, RecordContext& c,
                   std::string_view) { appendUUID(out, mix(c.key), mix(c.key + 1), true); }},
    {"ownHex", [](Bytes& out, RecordContext& c,
                  std::string_view) { fmt::format_to(std::back_inserter(out), "{:016x}", mix(c.key + 2)); }},
    {"ownMAC",
     [](Bytes& out, RecordContext& c, std::string_view) { appendString(out, macAddress(mix(c.key + 3))); }},
    {"stamp",
     [](Bytes& out, RecordContext& c, std::string_view) { appendString(out, ownTime(c, c.revision)); }},
    {"inventoryDate", fillInventoryDate},
    {"localInventoryDate", fillLocalInventoryDate},
    {"package", appendPackageMembers},
    {"cloudFile", [](Bytes& out, RecordContext& c, std::string_view) { appendCloudFileMembers(out, c); }},
    {"httpShare", [](Bytes& out, RecordContext& c, std::string_view) { appendHTTPShareMembers(out, c); }},
    {"mac",
     [](Bytes& out, RecordContext& c, std::string_view) { appendString(out, macAddress(c.draw.next())); }},
    {"ip",
     [](Bytes& out, RecordContext& c, std::string_view argument) {
       const std::uint64_t network = mix(c.key + 5);
       fmt::format_to(std::back_inserter(out), "\"10.{}.{}.{}\"", network % 256, network / 256 % 256,
                      argument.empty() ? std::to_string(c.draw.between(2, 250)) : std::string(argument));
     }},
    {"fullName", [](Bytes& out, RecordContext& c,
                    std::string_view) { appendString(out, fullName(c.fleet.seed(), c.index)); }},
    {"ownEmail",
     [](Bytes& out, RecordContext& c, std::string_view) { appendString(out, emailOf(c, c.index)); }},
    {"person", [](Bytes& out, RecordContext& c,
                  std::string_view) { appendString(out, fullName(c.fleet.seed(), randomUser(c))); }},
    {"login", [](Bytes& out, RecordContext& c,
                 std::string_view) { appendString(out, loginName(c.fleet.seed(), randomUser(c))); }},
    {"email",
     [](Bytes& out, RecordContext& c, std::string_view) { appendString(out, emailOf(c, randomUser(c))); }},
    {"date",
     [](Bytes& out, RecordContext& c, std::string_view) {
       fmt::format_to(std::back_inserter(out), "\"202{}-{:02}-{:02}\"", c.draw.between(5, 8),
                      c.draw.between(1, 12), c.draw.between(1, 28));
     }},
    {"time",
     [](Bytes& out, RecordContext& c, std::string_view) {
       const std::uint64_t number = c.draw.next();
       appendString(out, timeText(number / 8, number % 4 == 0 ? 1000 : static_cast<unsigned>(number % 1000)));
     }},
    {"version",
     [](Bytes& out, RecordContext& c, std::string_view) {
       fmt::format_to(std::back_inserter(out), "\"{}.{}.{}\"", c.draw.between(1, 26), c.draw.below(12),
                      c.draw.below(9));
     }},
    {"app",
     [](Bytes& out, RecordContext& c, std::string_view) {
       appendString(out, pools::applications[c.draw.below(pools::applications.size())]);
     }},
    {"script", [](Bytes& out, RecordContext& c, std::string_view) { appendString(out, shellScript(c)); }},
    {"plist", [](Bytes& out, RecordContext& c, std::string_view) { appendString(out, profilePayload(c)); }},
    {"criteria", [](Bytes& out, RecordContext& c, std::string_view) { appendCriteria(out, c, false); }},
    {"smartCriteria", [](Bytes& out, RecordContext& c, std::string_view) { appendCriteria(out, c, true); }},
    {"members",
     [](Bytes& out, RecordContext& c, std::string_view argument) { appendMembers(out, c, argument); }},
    {"scope", [](Bytes& out, RecordContext& c, std::string_view argument) { appendScope(out, c, argument); }},
    {"userGroups", [](Bytes& out, RecordContext& c, std::string_view) { appendOddUserGroups(out, c); }},
};

RecordTemplate::Fill findWord(std::string_view word) {
  for (const Word& known : words) {
    if (known.word == word) return known.fill;
  }
  throw platform::Error(
      fmt::format("A record template of the sample server has the unknown place \"{}\".", word));
}

}  // namespace

RecordTemplate::RecordTemplate(std::string_view text) {
  while (true) {
    const std::size_t start = text.find("${");
    if (start == std::string_view::npos) break;
    const std::size_t end = text.find('}', start);
    if (end == std::string_view::npos)
      throw platform::Error("A record template of the sample server has an open place.");
    const std::string_view place = text.substr(start + 2, end - start - 2);
    const std::size_t colon = place.find(':');
    pieces_.push_back({text.substr(0, start), findWord(place.substr(0, colon)),
                       colon == std::string_view::npos ? std::string_view() : place.substr(colon + 1)});
    text.remove_prefix(end + 1);
  }
  pieces_.push_back({text, nullptr, {}});
}

void RecordTemplate::render(platform::Bytes& out, RecordContext& context) const {
  for (const Piece& piece : pieces_) {
    out += piece.literal;
    if (piece.fill) piece.fill(out, context, piece.argument);
  }
}

}  // namespace sample
