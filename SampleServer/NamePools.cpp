#include "SampleServer/NamePools.h"

#include <fmt/format.h>

#include "SampleServer/Draw.h"

namespace sample {
namespace {

constexpr PersonName givenNames[] = {
    {"Ines", "ines"},
    {"Jörg", "joerg"},
    {"Aiko", "aiko"},
    {"Mats", "mats"},
    {"Zoë", "zoe"},
    {"Søren", "soeren"},
    {"Amara", "amara"},
    {"Łukasz", "lukasz"},
    {"Noémie", "noemie"},
    {"Tomás", "tomas"},
    {"Priya", "priya"},
    {"Björk", "bjoerk"},
    {"Oğuz", "oguz"},
    {"Chloé", "chloe"},
    {"Дмитрий", "dmitri"},
    {"健太", "kenta"},
    {"美咲", "misaki"},
    {"Eleni", "eleni"},
    {"Yusuf", "yusuf"},
    {"Grace", "grace"},
    {"Håkon", "hakon"},
    {"Siân", "sian"},
    {"Jürgen", "juergen"},
    {"Renée", "renee"},
    {"Kofi", "kofi"},
    {"Mia", "mia"},
    {"Liam", "liam"},
    {"Ayşe", "ayse"},
    {"Pavel", "pavel"},
    {"Inês", "ines2"},
    {"Anna-Lena", "anna-lena"},
    {"D’Arcy", "darcy"},
    {"Wren", "wren"},
    {"Tavi", "tavi"},
    {"Olu", "olu"},
    {"Mireille", "mireille"},
    {"Günther", "guenther"},
    {"Saoirse", "saoirse"},
    {"Nikhil", "nikhil"},
    {"Eva", "eva"},
};

constexpr PersonName familyNames[] = {
    {"Okafor", "okafor"},
    {"Müller", "mueller"},
    {"Lind", "lind"},
    {"Sørensen", "soerensen"},
    {"佐藤", "sato"},
    {"Grünwald", "gruenwald"},
    {"Ferreira", "ferreira"},
    {"O’Neill", "oneill"},
    {"Żak", "zak"},
    {"Nakamura", "nakamura"},
    {"Björnsson", "bjoernsson"},
    {"Iyer", "iyer"},
    {"Weiß", "weiss"},
    {"Dubois", "dubois"},
    {"Öztürk", "oeztuerk"},
    {"Hämäläinen", "haemaelaeinen"},
    {"Adeyemi", "adeyemi"},
    {"García", "garcia"},
    {"Kowalczyk", "kowalczyk"},
    {"Åkesson", "akesson"},
    {"van den Berg", "vandenberg"},
    {"Mbeki", "mbeki"},
    {"Papadopoulou", "papadopoulou"},
    {"Novák", "novak"},
    {"Reyes", "reyes"},
    {"Tanaka", "tanaka"},
    {"Schäfer", "schaefer"},
    {"Lefèvre", "lefevre"},
    {"Marsh", "marsh"},
    {"Quill", "quill"},
    {"Thornbury", "thornbury"},
    {"Ashdown", "ashdown"},
    {"Brandt", "brandt"},
    {"Călin", "calin"},
    {"Ibarra", "ibarra"},
    {"Jansen", "jansen"},
    {"Köhler", "koehler"},
    {"Lowell", "lowell"},
    {"Moreau", "moreau"},
    {"Nilsen", "nilsen"},
};

constexpr std::string_view nothing[] = {""};
constexpr std::string_view applicationWords[] = {
    "Pages",       "Textwerk",    "Keynote-Vorlagen", "Blender",      "Scribe & Co",
    "Musikstudio", "GeoLabor",    "Firefox",          "Zeichenbrett", "表計算",
    "Quill Notes", "LibreOffice", "Filmschnitt",      "Algebra 4",    "VPN Client",
    "Print Agent", "Sternwarte",  "CAD \"Light\"",    "Chemie <3D>",  "Lesepate",
    "Fondu",       "Whiteboard"};
constexpr std::string_view verbs[] = {
    "Install",   "Update",         "Remove",        "Cache",    "Repair",
    "Configure", "Aktualisieren:", "🚀 Onboarding:", "Wartung:", "Mise à jour de"};
constexpr std::string_view placeWords[] = {"Nordcampus",   "Südflügel",    "Hauptgebäude",   "Bibliothek",
                                           "Sporthalle",   "Atelier",      "Tamarack House", "東校舎",
                                           "Ångström Lab", "Villa Florès", "Werkstatt",      "Mensa",
                                           "Old Mill",     "Dépendance",   "Ostturm 🏫"};
constexpr std::string_view placeTails[] = {"A",        "B",        "C",        "Ost",   "West",
                                           "Parterre", "1. Stock", "2. Stock", "Annex", "地下"};
constexpr std::string_view departmentWords[] = {"Mathematik",     "Teaching",
                                                "Verwaltung",     "Informatik",
                                                "Musique & Arts", "Naturwissenschaften",
                                                "国語",           "Human Resources",
                                                "Facilities",     "Geschichte",
                                                "Finance",        "Pädagogik",
                                                "Sekretariat",    "R&D"};
constexpr std::string_view classTails[] = {"7a",  "7b",  "8a", "8b", "9a",    "9b",
                                           "10a", "10b", "Q1", "Q2", "3年1組"};
constexpr std::string_view platformWords[] = {
    "macOS 15",       "macOS 14 and later", "Managed",      "FileVault off", "Kiosks",
    "Lehrkräfte",     "Schüler:innen",      "Shared iPads", "Élèves",        "Update overdue",
    "Low disk space", "iPadOS 18",          "全台",         "Pilot 🧪"};
constexpr std::string_view profileWords[] = {
    "Wi-Fi",        "VPN",          "Passcode", "Restrictions",    "Zertifikate", "Privacy Preferences",
    "Login Window", "Energy Saver", "Dock",     "Software Update", "Fonts",       "AirPrint"};
constexpr std::string_view scriptWords[] = {
    "Set dock",        "Rename computer",       "Rotate logs",          "Collect diagnostics",
    "Fix permissions", "Clear caches",          "Drucker zurücksetzen", "Enable SSH \"audit\"",
    "Zeitzone setzen", "Install fonts & icons", "Tidy /Users",          "バックアップ確認"};
constexpr std::string_view attributeWords[] = {
    "Battery cycles", "Cart",           "Vertrag",       "Last login",   "Uptime",
    "Raumnummer",     "Purchase group", "Agent version", "Kostenstelle", "保証期限"};
constexpr std::string_view categoryWords[] = {
    "Productivity", "Utilities", "Sicherheit", "Drucken & Scannen", "Éducation",
    "Testing 🧪", "Wartung",   "Fonts",      "Onboarding",        "ユーティリティ"};
constexpr std::string_view versionWords[] = {"14.4",  "3.0.1", "2026.2",  "141.0",
                                             "7.8.9", "1.0",   "22.11b3", "9.9"};
constexpr std::string_view roleWords[] = {"Help desk", "Read only",  "Auditor", "Backup",
                                          "Enrolment", "Site admin", "Technik", "監査"};
constexpr std::string_view serverWords[] = {"Bibliothek file share", "Rechenzentrum", "Campus mirror",
                                            "Aula cache", "Außenstelle"};
constexpr std::string_view extensionWords[] = {"pdf",          "epub", "dmg",   "pkg",     "zip",
                                               "mobileconfig", "key",  "pages", "numbers", "docx"};
constexpr std::string_view eventWords[] = {"ComputerAdded", "MobileDeviceEnrolled", "PatchUpdate",
                                           "SmartGroupChange", "Inventory"};
constexpr std::string_view siteWords[] = {"North campus", "Gymnasium Südstadt", "École du Lac", "桜丘小学校",
                                          "Tamarack Institute"};
constexpr std::string_view remarkWords[] = {"Geprüft von der Technik.",
                                            "Keep until the end of term.",
                                            "Requested by the library.",
                                            "Nur für Lehrkräfte.",
                                            "See \"handbook\", page 12 & 13.",
                                            "À vérifier en septembre.",
                                            "更新予定。",
                                            "Pilot group only 🧪",
                                            "Replaced <old> workflow.",
                                            ""};

std::string numbered(std::string text, std::size_t round) {
  return round == 0 ? text : fmt::format("{} {}", text, round + 1);
}

struct PersonPick {
  const PersonName& given;
  const PersonName& family;
  std::size_t round;
};

PersonPick person(std::uint64_t seed, std::size_t index) {
  constexpr std::size_t givenCount = std::size(givenNames);
  constexpr std::size_t familyCount = std::size(familyNames);
  const std::size_t row = index / givenCount;
  const std::size_t column = index % givenCount;
  return {givenNames[(column + seed) % givenCount], familyNames[(row + 3 * column + seed / 64) % familyCount],
          row / familyCount};
}

}  // namespace

std::string fullName(std::uint64_t seed, std::size_t index) {
  const PersonPick pick = person(seed, index);
  return fmt::format("{} {}", pick.given.shown, pick.family.shown);
}

std::string loginName(std::uint64_t seed, std::size_t index) {
  const PersonPick pick = person(seed, index);
  const std::string login = fmt::format("{}.{}", pick.given.plain, pick.family.plain);
  return pick.round == 0 ? login : fmt::format("{}{}", login, pick.round + 1);
}

std::string macAddress(std::uint64_t number) {
  return fmt::format("02:1A:{:02X}:{:02X}:{:02X}:{:02X}", (number >> 24) & 255, (number >> 16) & 255,
                     (number >> 8) & 255, number & 255);
}

std::string Naming::name(std::uint64_t seed, std::size_t index) const {
  if (style == Style::login) return loginName(seed, index);
  if (style == Style::macAddress) return macAddress((mix(seed) << 16) + index * 7919);
  const std::size_t row = index / first.size();
  const std::size_t column = index % first.size();
  const std::string_view a = first[(column + seed) % first.size()];
  const std::string_view b = second[(row + 3 * column + seed / 64) % second.size()];
  return fmt::format("{}{}{}{}", a, joint, numbered(std::string(b), row / second.size()), tail);
}

namespace pools {
const Pool applications = applicationWords, places = placeWords, departments = departmentWords,
           remarks = remarkWords;
}

namespace naming {
const Naming login{.style = Naming::Style::login};
const Naming macAddress{.style = Naming::Style::macAddress};
const Naming settings{nothing, "settings", nothing, ""};
const Naming accountGroup{roleWords, " ", siteWords, ""};
const Naming apiRole{roleWords, " role ", versionWords, ""};
const Naming apiClient{roleWords, " client ", placeTails, ""};
const Naming appName{applicationWords, " ", placeTails, ""};
const Naming attribute{attributeWords, " ", departmentWords, ""};
const Naming beacon{placeWords, " beacon ", placeTails, ""};
const Naming binding{siteWords, " directory", nothing, ""};
const Naming blueprint{platformWords, " / ", departmentWords, ""};
const Naming book{departmentWords, ": ", categoryWords, ""};
const Naming building{placeWords, " ", placeTails, ""};
const Naming category{categoryWords, " ", departmentWords, ""};
const Naming classroom{departmentWords, " ", classTails, ""};
const Naming computer{placeTails, "-Mac-", versionWords, ""};
const Naming department{departmentWords, " ", placeWords, ""};
const Naming deviceGroup{platformWords, " - ", placeWords, ""};
const Naming directory{siteWords, " IdP", nothing, ""};
const Naming diskEncryption{roleWords, " escrow", nothing, ""};
const Naming distribution{serverWords, " ", placeTails, ""};
const Naming dockItem{applicationWords, " (", placeTails, ")"};
const Naming enrollment{siteWords, " enrolment ", placeTails, ""};
const Naming fileExtension{extensionWords, "", nothing, ""};
const Naming installer{applicationWords, " for ", departmentWords, ""};
const Naming licence{applicationWords, " licence ", versionWords, ""};
const Naming location{siteWords, ", ", placeWords, ""};
const Naming mobileDevice{placeTails, "-iPad-", classTails, ""};
const Naming network{placeWords, " VLAN ", placeTails, ""};
const Naming package{applicationWords, "-", versionWords, ".pkg"};
const Naming patch{applicationWords, " ", versionWords, ""};
const Naming policy{verbs, " ", applicationWords, ""};
const Naming prestage{platformWords, " at ", siteWords, ""};
const Naming printer{placeWords, " printer ", placeTails, ""};
const Naming profile{profileWords, " ", placeWords, ""};
const Naming restriction{applicationWords, " blocked", nothing, ""};
const Naming script{scriptWords, " ", versionWords, ".sh"};
const Naming search{platformWords, " by ", departmentWords, ""};
const Naming site{siteWords, " ", placeTails, ""};
const Naming updateServer{serverWords, " updates", nothing, ""};
const Naming userGroup{departmentWords, " @ ", siteWords, ""};
const Naming webhook{eventWords, " to ", roleWords, ""};
}  // namespace naming

}  // namespace sample
