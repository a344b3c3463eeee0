#include "SampleServer/RecordTexts.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "Platform/JSON/Writer.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {
namespace {

using platform::Bytes;
using platform::json::appendString;

void appendField(Bytes& out, std::string_view key, std::string_view text) {
  fmt::format_to(std::back_inserter(out), ",\"{}\":", key);
  appendString(out, text);
}

/// `,"computers":[...]` with up to `most` references.
void appendList(Bytes& out, RecordContext& c, std::string_view key, std::string_view section,
                std::size_t most) {
  fmt::format_to(std::back_inserter(out), ",\"{}\":", key);
  appendReferences(out, c, section, most);
}

struct Criterion {
  std::string_view name;
  std::string_view test;
  std::string_view value;
};

constexpr Criterion criteria[] = {
    {"Operating System Version", "greater than or equal", "14.0"},
    {"Last Inventory Update", "more than x days ago", "30"},
    {"Building", "is", "Hauptgebäude"},
    {"Application Title", "has", "Firefox.app"},
    {"Department", "is not", "Facilities & Technik"},
    {"FileVault 2 Status", "is", "All Partitions Encrypted"},
    {"Model", "like", "iPad"},
    {"Username", "matches regex", "^(?!guest).*$"},
};

constexpr std::string_view scriptBlocks[] = {
    "log() {\n  /usr/bin/logger -t \"sample\" -- \"$1\"\n}\n\n",
    "if [ \"$(id -u)\" -ne 0 ]; then\n  echo \"This script needs root.\" >&2\n  exit 1\nfi\n\n",
    "user=$(/usr/bin/stat -f %Su /dev/console)\nhome=\"/Users/$user\"\n[ -d \"$home\" ] || exit 0\n\n",
    "for file in \"$home\"/Library/Caches/*; do\n  case \"$file\" in\n    *.keep) continue ;;\n  esac\n  rm "
    "-rf -- "
    "\"$file\"\ndone\n\n",
    "# Größe der Ablage prüfen und melden\nsize=$(du -sk \"$home/Documents\" | awk '{print $1}')\nlog "
    "\"documents: "
    "${size} KB\"\n\n",
    "/usr/bin/defaults write \"$home/Library/Preferences/com.example.tool\" Enabled -bool \"${5:-true}\"\n\n",
    "count=0\nwhile ! /sbin/ping -c 1 -t 1 files.example.org >/dev/null 2>&1; do\n  count=$((count + 1))\n  "
    "[ $count -gt "
    "10 ] && exit 2\n  sleep 3\ndone\n\n",
    "printf '%s\\t%s\\n' \"$(date '+%Y-%m-%d')\" \"$4\" >> /var/log/sample.log\n\n",
};

constexpr std::string_view payloadTypes[] = {"wifi.managed",
                                             "security.passcode",
                                             "loginwindow",
                                             "MCX.Finder",
                                             "TCC.configuration-profile-policy",
                                             "SoftwareUpdate",
                                             "dock",
                                             "vpn.managed"};

std::string uuidText(RecordContext& c) {
  Bytes text;
  const std::uint64_t high = c.draw.next();
  appendUUID(text, high, c.draw.next(), true);
  return text.substr(1, text.size() - 2);
}

std::string escapedXML(std::string_view text) {
  std::string out;
  for (const char character : text) {
    switch (character) {
      case '&':
        out += "&amp;";
        break;
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      default:
        out += character;
    }
  }
  return out;
}

void appendPayloadItem(std::string& text, RecordContext& c) {
  const std::string_view type = payloadTypes[c.draw.below(std::size(payloadTypes))];
  const std::string uuid = uuidText(c);
  fmt::format_to(
      std::back_inserter(text),
      "<dict>\n<key>PayloadType</key>\n<string>com.example.{0}</string>\n<key>PayloadUUID</"
      "key>\n<string>{1}</string>\n"
      "<key>PayloadIdentifier</key>\n<string>com.example.{0}.{1}</string>\n<key>PayloadDisplayName</key>\n"
      "<string>{2}</string>\n<key>PayloadVersion</key>\n<integer>1</integer>\n<key>PayloadEnabled</"
      "key>\n<true/>\n",
      type, uuid, escapedXML(pools::departments[c.draw.below(pools::departments.size())]));
  for (std::uint64_t i = c.draw.between(3, 9); i > 0; --i) {
    fmt::format_to(std::back_inserter(text),
                   "<key>Setting{}</key>\n<{}/>\n<key>Limit{}</key>\n<integer>{}</integer>\n", i,
                   c.draw.chance(50) ? "true" : "false", i, c.draw.below(5000));
  }
  text += "</dict>\n";
}

}  // namespace

void appendUUID(Bytes& out, std::uint64_t high, std::uint64_t low, bool upperCase) {
  high = (high & ~0xf000ULL) | 0x4000;
  low = (low & ~(3ULL << 62)) | (2ULL << 62);
  std::string text = fmt::format("\"{:08x}-{:04x}-{:04x}-{:04x}-{:012x}\"", high >> 32, (high >> 16) & 0xffff,
                                 high & 0xffff, low >> 48, low & 0xffffffffffff);
  if (upperCase) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'f' ? static_cast<char>(c - 32) : c; });
  }
  out += text;
}

void appendReference(Bytes& out, const References& fleet, std::size_t section, std::size_t index) {
  fmt::format_to(std::back_inserter(out), "{{\"id\":{},\"name\":", numberOf(index));
  appendString(out, fleet.nameOf(section, index));
  out += '}';
}

void appendReferences(Bytes& out, RecordContext& c, std::string_view section, std::size_t most) {
  const auto number = sectionNumber(section);
  const std::size_t available = number ? c.fleet.countOf(*number) : 0;
  const std::size_t wanted = std::min<std::size_t>(c.draw.below(most + 1), available);
  const std::size_t start = available == 0 ? 0 : c.draw.below(available);
  out += '[';
  for (std::size_t i = 0; i < wanted; ++i) {
    if (i > 0) out += ',';
    appendReference(out, c.fleet, *number, (start + i) % available);
  }
  out += ']';
}

bool isSmart(const RecordContext& c) {
  if (c.written) return plainText(objectAt(*c.written, "computer_group")->find("is_smart")) == "true";
  return mix(c.key + 6) % 5 < 3;
}

void appendCriteria(Bytes& out, RecordContext& c, bool always) {
  out += '[';
  const std::uint64_t count = always || isSmart(c) ? c.draw.between(1, 4) : 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    const Criterion& criterion = criteria[c.draw.below(std::size(criteria))];
    if (i > 0) out += ',';
    out += "{\"name\":";
    appendString(out, criterion.name);
    fmt::format_to(std::back_inserter(out), ",\"priority\":{},\"and_or\":\"{}\"", i,
                   c.draw.chance(70) ? "and" : "or");
    appendField(out, "search_type", criterion.test);
    appendField(out, "value",
                i == 0 && c.revision > 0 ? fmt::format("{}.{}", criterion.value, c.revision)
                                         : std::string(criterion.value));
    out += ",\"opening_paren\":false,\"closing_paren\":false}";
  }
  out += ']';
}

void appendMembers(Bytes& out, RecordContext& c, std::string_view kind) {
  const auto section = sectionNumber(kind);
  const std::size_t available = section ? c.fleet.countOf(*section) : 0;
  // A changed group has other members: static ones have nothing else to change.
  const std::size_t fewest = c.revision > 0 ? 1 : 0;
  const std::size_t count = std::min<std::size_t>(available, c.draw.between(fewest, 11));
  const std::size_t start = available == 0 ? 0 : c.draw.below(available) + c.revision;
  out += '[';
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t index = (start + i) % available;
    if (i > 0) out += ',';
    fmt::format_to(std::back_inserter(out), "{{\"id\":{}", numberOf(index));
    if (kind == "users") {
      const std::string login = c.fleet.nameOf(*section, index);
      appendField(out, "username", login);
      appendField(out, "full_name", fullName(c.fleet.seed(), index));
      out += ",\"phone_number\":\"\"";
      appendField(out, "email_address", login + "@example.org");
    } else {
      appendField(out, "name", c.fleet.nameOf(*section, index));
      appendField(out, "mac_address", macAddress(index));
      appendField(out, kind == "computers" ? "alt_mac_address" : "wifi_mac_address", "");
      appendField(out, "serial_number", fmt::format("FVSMP{:06X}", index));
    }
    out += '}';
  }
  out += ']';
}

void appendScope(Bytes& out, RecordContext& c, std::string_view kind) {
  const bool everything = c.draw.chance(25);
  const std::string_view flag = everything ? "true" : "false";
  const std::size_t most = everything ? 0 : 3;
  const bool computers = kind == "computers" || kind == "all";
  const bool mobile = kind == "mobile" || kind == "all";
  out += "{\"all_jss_users\":false";
  if (computers) {
    fmt::format_to(std::back_inserter(out), ",\"all_computers\":{}", flag);
    appendList(out, c, "computers", "computers", most);
    appendList(out, c, "computer_groups", "computerGroups", most);
  }
  if (mobile) {
    fmt::format_to(std::back_inserter(out), ",\"all_mobile_devices\":{}", flag);
    appendList(out, c, "mobile_devices", "mobileDevices", most);
    appendList(out, c, "mobile_device_groups", "mobileDeviceGroups", most);
  }
  appendList(out, c, "buildings", "buildings", 2);
  appendList(out, c, "departments", "departments", 2);
  out += ",\"jss_users\":[],\"jss_user_groups\":";
  switch (c.draw.below(3)) {
    case 0:
      out += "[]";
      break;
    case 1:
      out += "{}";
      break;
    default:
      out += R"({"user_group":{"id":2,"name":"Lehrkräfte"}})";
  }
  out += R"(,"limitations":{"users":[],"user_groups":[],"network_segments":)";
  appendReferences(out, c, "networkSegments", 1);
  out += R"(,"ibeacons":[]},"exclusions":{"users":[],"user_groups":[],"network_segments":[],"ibeacons":[])";
  if (computers) appendList(out, c, "computer_groups", "computerGroups", 2);
  if (mobile) appendList(out, c, "mobile_device_groups", "mobileDeviceGroups", 2);
  out += R"(,"buildings":[],"departments":[]}})";
}

void appendOddUserGroups(Bytes& out, RecordContext& c) {
  const auto section = *sectionNumber("userGroups");
  const std::size_t available = c.fleet.countOf(section);
  const std::size_t size = std::min<std::size_t>(available, c.draw.below(3));
  fmt::format_to(std::back_inserter(out), "{{\"size\":{}", size);
  if (size > 0) {
    out += ",\"user_group\":";
    appendReference(out, c.fleet, section, c.draw.below(available));
  }
  out += '}';
}

std::string shellScript(RecordContext& c) {
  std::string text = fmt::format("#!/bin/sh\n# {}\n# revision {}\n\n", c.name, c.revision);
  const std::size_t target = c.draw.between(1100, 5600);
  while (text.size() < target) text += scriptBlocks[c.draw.below(std::size(scriptBlocks))];
  return text + "exit 0\n";
}

std::string profilePayload(RecordContext& c) {
  std::string text =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
      "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n<plist "
      "version=\"1.0\">\n<dict>\n<key>PayloadContent</key>\n<array>\n";
  const std::size_t target = c.draw.between(3600, 6200);
  while (text.size() < target) appendPayloadItem(text, c);
  const std::string uuid = uuidText(c);
  fmt::format_to(std::back_inserter(text),
                 "</array>\n<key>PayloadDisplayName</key>\n<string>{0}</string>\n<key>PayloadIdentifier</"
                 "key>\n<string>{1}"
                 "</string>\n<key>PayloadUUID</key>\n<string>{1}</string>\n<key>PayloadScope</"
                 "key>\n<string>System</string>\n"
                 "<key>PayloadType</key>\n<string>Configuration</string>\n<key>PayloadVersion</"
                 "key>\n<integer>{2}</integer>\n"
                 "</dict>\n</plist>\n",
                 escapedXML(c.name), uuid, c.revision + 1);
  return text;
}

}  // namespace sample
