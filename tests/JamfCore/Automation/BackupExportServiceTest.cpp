#include "JamfCore/Automation/BackupExportService.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <regex>
#include <set>

#include "JamfCore/Services/ComputerExtensionAttributeService.h"
#include "JamfCore/Services/ConfigurationProfileService.h"
#include "JamfCore/Services/PackageService.h"
#include "JamfCore/Services/PolicyService.h"
#include "JamfCore/Services/ScriptService.h"
#include "JamfCore/Services/SmartGroupService.h"
#include "JamfCore/Services/StaticGroupService.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/FaultSeam.h"
#include "Platform/Files/Files.h"
#include "Platform/JSON/Value.h"
#include "Platform/JSON/View.h"
#include "tests/JamfCore/AdministeredServer.h"
#include "tests/Support/Commands.h"
#include "tests/Support/ScopedZone.h"

namespace jamf {
namespace {

using test::AdministeredServer;
using testing::AllOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
namespace files = platform::files;
using Completed = BackupExportProgress::Completed;
using Entry = BackupExportResult::Entry;
using Exported = BackupExportResult::Exported;
using Failed = BackupExportResult::Failed;
using InProgress = BackupExportProgress::InProgress;

const std::vector<std::string> folders{
    "configuration-profiles", "extension-attributes", "packages", "policies", "scripts",
    "smart-groups",           "static-groups"};

/// An export of a small server into a folder of the test.
class BackupExport : public testing::Test {
 protected:
  BackupExportResult run(const std::string& orgName = "School", const std::stop_token& stop = {}) {
    return BackupExportService{site.client}.exportAll(orgName, folder / "out", {}, stop);
  }
  static std::vector<Entry> of(const BackupExportResult& result, const std::string& label) {
    std::vector<Entry> found;
    for (const auto& entry : result.entries)
      if (entry.typeLabel == label) found.push_back(entry);
    return found;
  }
  static std::vector<Entry> failures(const BackupExportResult& result) {
    std::vector<Entry> found;
    for (const auto& entry : result.entries)
      if (std::holds_alternative<Failed>(entry.outcome)) found.push_back(entry);
    return found;
  }
  static std::string message(const Entry& entry) { return std::get<Failed>(entry.outcome).message; }
  /// Everything below a folder, hidden files too, by its path from there.
  static std::set<std::string> filesBelow(const std::filesystem::path& root) {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root))
      if (!entry.is_directory()) found.insert(entry.path().lexically_relative(root));
    return found;
  }
  /// That every file is a whole JSON document with a name that a listing shows.
  static void expectWholeFiles(const std::filesystem::path& root) {
    for (const auto& name : filesBelow(root)) {
      EXPECT_THAT(std::filesystem::path(name).filename().string(),
                  AllOf(Not(StartsWith(".")), EndsWith(".json")));
      EXPECT_TRUE(platform::json::Document::parse(files::read(root / name))) << name;
    }
  }
  /// On a disk that takes nothing at all, the file that was being written can't be deleted either.
  static void removeTemporaryFile(const std::filesystem::path& root) {
    std::size_t removed = 0;
    for (const auto& name : filesBelow(root)) {
      if (!files::isTemporaryName(std::filesystem::path(name).filename().string())) continue;
      files::remove(root / name);
      ++removed;
    }
    EXPECT_LE(removed, 1U);
  }
  void gone(const std::string& path, int status = 404) {
    site.server.faults().add({.path = path, .action = sample::FaultAnswer{.status = status}});
  }
  std::string addScript(const std::string& name, const std::string& contents = "echo") {
    Script script;
    script.name = name;
    script.scriptContents = contents;
    return ScriptService{site.client}.create(script).id;
  }
  void TearDown() override { files::disarmFaultSeam(); }

  AdministeredServer site;
  files::TempFolder folder;
};

TEST_F(BackupExport, EveryObjectIsAFileOfItsCategory) {
  const auto result = run();
  EXPECT_THAT(failures(result), IsEmpty());
  EXPECT_EQ(files::listVisible(result.folderURL), folders);
  const std::vector<std::pair<std::string, std::string>> sections{
      {"Policies", "policies"},
      {"Scripts", "scripts"},
      {"Configuration Profiles", "computerConfigurationProfiles"},
      {"Packages", "packages"},
      {"Extension Attributes", "computerExtensionAttributes"}};
  for (const auto& [label, section] : sections)
    EXPECT_THAT(of(result, label), SizeIs(site.server.ids(section).size())) << label;
  EXPECT_EQ(of(result, "Smart Groups").size() + of(result, "Static Groups").size(),
            site.server.ids("computerGroups").size());
  std::set<std::string> expected;
  for (const auto& entry : result.entries) {
    static const std::map<std::string, std::string> folderOf{
        {"Smart Groups", "smart-groups"},
        {"Static Groups", "static-groups"},
        {"Policies", "policies"},
        {"Scripts", "scripts"},
        {"Configuration Profiles", "configuration-profiles"},
        {"Packages", "packages"},
        {"Extension Attributes", "extension-attributes"}};
    expected.insert(folderOf.at(entry.typeLabel) + "/" + BackupExportService::fileName(entry.name));
  }
  EXPECT_EQ(filesBelow(result.folderURL), expected);
  expectWholeFiles(result.folderURL);
}

template <class Record>
Record decoded(const std::filesystem::path& file) {
  return platform::json::Decoder().decode<Record>(files::read(file));
}

TEST_F(BackupExport, AFileHoldsWhatTheServiceGives) {
  const auto result = run();
  const auto fileOf = [&](const char* category, const std::string& name) {
    return result.folderURL / category / BackupExportService::fileName(name);
  };
  const auto smart = SmartGroupService{site.client}.list({}).results.front();
  EXPECT_EQ(decoded<SmartGroupDetail>(fileOf("smart-groups", smart.name)),
            SmartGroupService{site.client}.get(smart.id));
  const auto group = StaticGroupService{site.client}.list({}).results.front();
  const auto kept = decoded<StaticGroupBackup>(fileOf("static-groups", group.name));
  EXPECT_EQ(kept.detail, StaticGroupService{site.client}.get(group.id));
  EXPECT_EQ(kept.members, site.client->classicGroupMembers(group.id));
  const auto policy = PolicyService{site.client}.list().back();
  EXPECT_EQ(decoded<PolicyDetail>(fileOf("policies", policy.name)),
            PolicyService{site.client}.get(policy.id));
  const auto script = ScriptService{site.client}.list({}).results.back();
  EXPECT_EQ(decoded<Script>(fileOf("scripts", script.name)), ScriptService{site.client}.get(script.id));
  const auto profile = ConfigurationProfileService{site.client}.list().front();
  EXPECT_EQ(decoded<ConfigurationProfileDetail>(fileOf("configuration-profiles", profile.name)),
            ConfigurationProfileService{site.client}.get(profile.id));
  const auto package = PackageService{site.client}.list({}).results.back();
  EXPECT_EQ(decoded<Package>(fileOf("packages", package.packageName)),
            PackageService{site.client}.get(package.id));
  const auto attribute = ComputerExtensionAttributeService{site.client}.list({}).results.back();
  EXPECT_EQ(decoded<ComputerExtensionAttribute>(fileOf("extension-attributes", attribute.name)),
            ComputerExtensionAttributeService{site.client}.get(attribute.id));
}

TEST_F(BackupExport, AStaticGroupsFileHasItsDetailAndMembers) {
  const auto result = run();
  const auto name = of(result, "Static Groups").front().name;
  const auto text = files::read(result.folderURL / "static-groups" / BackupExportService::fileName(name));
  const auto document = platform::json::Document::parse(text);
  const auto value = platform::json::Value::from(document->root());
  ASSERT_EQ(value.object_()->size(), 2U);
  EXPECT_EQ(*value.find("detail")->find("name")->string(), name);
  for (const auto& member : *value.find("members")->array_()) {
    EXPECT_TRUE(member.find("id")->string());
    EXPECT_TRUE(member.find("name")->string());
  }
}

TEST_F(BackupExport, ListsOfMoreThanAPageAreReadToTheirEnd) {
  for (int number = 0; number < 120; ++number) addScript(fmt::format("Extra {}", number));
  EXPECT_THAT(of(run(), "Scripts"), SizeIs(site.server.ids("scripts").size()));
}

TEST_F(BackupExport, TheFolderBearsTheOrganizationAndTheTime) {
  const auto before = files::exists(folder / "out");
  EXPECT_FALSE(before) << "parents are made";
  const auto result = run("A/B");
  EXPECT_EQ(result.folderURL.parent_path(), folder / "out");
  EXPECT_TRUE(std::regex_match(result.folderURL.filename().string(),
                               std::regex("A-B-backup-[0-9]{4}-[0-9]{2}-[0-9]{2}-[0-9]{6}")))
      << result.folderURL;
  EXPECT_TRUE(files::isDirectory(result.folderURL));
}

TEST_F(BackupExport, TheTimeIsThatOfTheClockOnTheWall) {
  const auto hours = [&](const char* zone) {
    const orvik::test::ScopedZone scoped(zone);
    const files::TempFolder own;
    const auto name =
        BackupExportService{site.client}.exportAll("S", own.path()).folderURL.filename().string();
    return std::stoi(name.substr(std::string("S-backup-2026-11-22-").size(), 2));
  };
  const int ahead = (hours("Asia/Dubai") - hours("UTC") + 24) % 24;  // four hours, all the year
  EXPECT_TRUE(ahead == 4 || ahead == 3) << "on a full hour the second export is of the next";
}

TEST_F(BackupExport, NoNameOfAnOrganizationLeadsElsewhere) {
  for (const std::string& name :
       {std::string(".."), std::string("../../x"), std::string("/etc"), std::string(),
        std::string("a\0b\n\x1b", 5), std::string(400, 'x'), std::string("a\\b:c*?\"<>|d")}) {
    const files::TempFolder own;
    const auto result = BackupExportService{site.client}.exportAll(name, own / "out");
    EXPECT_EQ(files::list(own.path()), (std::vector<std::string>{"out"}));
    ASSERT_THAT(files::list(own / "out"), SizeIs(1));
    EXPECT_EQ(files::list(own / "out").front(), result.folderURL.filename());
    EXPECT_THAT(result.folderURL.filename().string(), Not(StartsWith(".")));
    EXPECT_THAT(failures(result), IsEmpty());
  }
}

TEST_F(BackupExport, NamesOfFilesLeadNowhereElseAndAreSeen) {
  const std::vector<std::pair<std::string, std::string>> names{
      {"Install Pages", "Install Pages.json"},
      {"a/b\\c:d*e?f\"g<h>i|j", "a-b-c-d-e-f-g-h-i-j.json"},
      {"", "unnamed.json"},
      {".", "-.json"},
      {"..", "--.json"},
      {"../../etc/passwd", "---..-etc-passwd.json"},
      {".hidden", "-hidden.json"},
      {"v1.2", "v1.2.json"},
      {std::string("a\0b\n\x7f", 5), "a-b--.json"},
      {"a\u202Eb", "a-b.json"},
      {"Äpfel 日本 🏫", "Äpfel 日本 🏫.json"},
      {"\xff", "\uFFFD.json"},
      {std::string(208, 'x'), std::string(208, 'x') + ".json"},
      {std::string(300, 'x'), std::string(208, 'x') + ".json"}};
  for (const auto& [name, file] : names) EXPECT_EQ(BackupExportService::fileName(name), file);
  // Cut between characters.
  std::string cut;
  for (int i = 0; i < 69; ++i) cut += "日";
  EXPECT_EQ(BackupExportService::fileName(cut + "日本"), cut + ".json");
}

TEST_F(BackupExport, NamesFromTheServerNeverLeaveTheFolder) {
  const std::vector<std::string> names{".",   "..", "../up", "/root", "a\\..\\b", std::string(500, 'y'),
                                       "\x01"};
  for (const auto& name : names) site.server.rename("policies", *site.server.add("policies"), name);
  const auto result = run("..");
  EXPECT_THAT(failures(result), IsEmpty());
  EXPECT_EQ(files::list(folder.path()), (std::vector<std::string>{"out"}));
  EXPECT_THAT(files::list(folder / "out"), SizeIs(1));
  EXPECT_EQ(files::listVisible(result.folderURL), folders);
  for (const auto& name : names)
    EXPECT_TRUE(files::isFile(result.folderURL / "policies" / BackupExportService::fileName(name))) << name;
  expectWholeFiles(result.folderURL);
}

TEST_F(BackupExport, OfNamesThatCollideTheLaterObjectIsWhatTheFileHolds) {
  addScript("Clean/Up", "first");
  addScript("Clean:Up", "second");
  const auto result = run();
  EXPECT_THAT(of(result, "Scripts"), AllOf(Contains(Entry{"Scripts", "Clean/Up", Exported()}),
                                           Contains(Entry{"Scripts", "Clean:Up", Exported()})));
  const auto kept = decoded<Script>(result.folderURL / "scripts" / "Clean-Up.json");
  EXPECT_EQ(kept.name, "Clean:Up");
  EXPECT_EQ(kept.scriptContents, "second");
  EXPECT_THAT(files::listVisible(result.folderURL / "scripts"), SizeIs(of(result, "Scripts").size() - 1));
}

TEST_F(BackupExport, AFailingListIsOneEntryAndTheOtherCategoriesAreExportedAllTheSame) {
  gone("JSSResource/policies", 403);
  const auto result = run();
  const auto policies = of(result, "Policies");
  ASSERT_THAT(policies, SizeIs(1));
  EXPECT_EQ(policies.front().name, "(list)");
  EXPECT_THAT(message(policies.front()), HasSubstr("403"));
  EXPECT_THAT(of(result, "Scripts"), SizeIs(site.server.ids("scripts").size()));
  EXPECT_THAT(failures(result), SizeIs(1));
  EXPECT_TRUE(files::isDirectory(result.folderURL / "policies"));
}

TEST_F(BackupExport, AnObjectThatVanishesIsNamedAndTheRestIsExported) {
  const auto id = site.server.ids("scripts")[3];
  const auto name = ScriptService{site.client}.get(id).name;
  gone("api/v1/scripts/" + id);
  const auto result = run();
  ASSERT_THAT(failures(result), SizeIs(1));
  EXPECT_EQ(failures(result).front().name, name);
  EXPECT_THAT(message(failures(result).front()), HasSubstr("404"));
  EXPECT_FALSE(files::exists(result.folderURL / "scripts" / BackupExportService::fileName(name)));
  EXPECT_THAT(of(result, "Scripts"), SizeIs(site.server.ids("scripts").size()));
}

TEST_F(BackupExport, ServersWithoutTheThirdVersionOfGroupsAreAskedByTheSecond) {
  site.server.dialect().groupsV3 = false;
  const auto result = run();
  EXPECT_THAT(failures(result), IsEmpty());
  EXPECT_FALSE(of(result, "Smart Groups").empty());
  EXPECT_FALSE(of(result, "Static Groups").empty());
}

TEST_F(BackupExport, ProgressNamesTheCategoriesInTheirOrderBeforeAndAfterEach) {
  gone("JSSResource/policies", 403);
  std::vector<std::string> told;
  std::size_t entries = 0;
  const auto result = BackupExportService{site.client}.exportAll(
      "School", folder / "out",
      [&](const std::string& category, const BackupExportCategoryStatus& status) {
        const auto* completed = std::get_if<Completed>(&status);
        told.push_back(completed ? fmt::format("{} {} {}", category, completed->exported, completed->failed)
                                 : category);
      },
      {},
      [&](const Entry&, std::size_t done, std::size_t total) {
        EXPECT_GE(done, 1U);
        EXPECT_LE(done, total);
        ++entries;
      });
  std::vector<std::string> expected;
  for (const char* label : {"Smart Groups", "Static Groups", "Policies", "Scripts", "Configuration Profiles",
                            "Packages", "Extension Attributes"}) {
    const bool isFailed = label == std::string("Policies");
    expected.emplace_back(label);
    expected.push_back(
        fmt::format("{} {} {}", label, isFailed ? 0 : of(result, label).size(), isFailed ? 1 : 0));
  }
  EXPECT_EQ(told, expected);
  EXPECT_EQ(entries, result.entries.size());
}

TEST_F(BackupExport, ObjectsAreReadOneAtATime) {
  run();
  EXPECT_EQ(site.server.maxInFlight(), 1);
  EXPECT_THAT(site.writes(), IsEmpty());
}

TEST_F(BackupExport, TheSummaryCountsAndIsSilentAboutNoFailures) {
  EXPECT_EQ(BackupExportResult().summary(), "Nothing to export");
  const auto result = run();
  EXPECT_EQ(result.summary(), fmt::format("{} exported", result.entries.size()));
  BackupExportResult mixed{{{"Scripts", "a", Exported()}, {"Scripts", "b", Failed{"no"}}}, {}};
  EXPECT_EQ(mixed.summary(), "1 exported, 1 failed");
  mixed.entries.erase(mixed.entries.begin());
  EXPECT_EQ(mixed.summary(), "0 exported, 1 failed");
}

TEST_F(BackupExport, AFolderThatCanNotBeMadeIsTheOneFailureThatIsThrown) {
  files::atomicWrite("x", folder / "file");
  EXPECT_THROW(BackupExportService{site.client}.exportAll("School", folder / "file"), files::FileError);
  EXPECT_EQ(site.server.log().total(), 0U) << "before anything is asked";
}

TEST_F(BackupExport, AFolderThatFillsUpFailsWhatHasNoRoomAndLeavesNoHalfFiles) {
  // The n-th operation on the disk and all later ones fail, as on a full one.
  for (const std::uint64_t room : {1, 2, 3, 60, 200}) {
    const files::TempFolder own;
    files::createDirectories(own / "out");
    files::armFaultSeam(room, files::FaultAction::failFromThen, ENOSPC);
    const auto exportAll = [&] { return BackupExportService{site.client}.exportAll("School", own / "out"); };
    if (room == 1) {
      EXPECT_THROW(exportAll(), files::FileError);
      files::disarmFaultSeam();
      continue;
    }
    const auto result = exportAll();
    files::disarmFaultSeam();
    removeTemporaryFile(result.folderURL);
    EXPECT_THAT(failures(result), Not(IsEmpty())) << room;
    for (const auto& entry : failures(result))
      EXPECT_THAT(message(entry), HasSubstr("No space left on device"));
    expectWholeFiles(result.folderURL);
    EXPECT_EQ(filesBelow(result.folderURL).size(), result.entries.size() - failures(result).size());
    EXPECT_EQ(of(result, "Extension Attributes"),
              (std::vector<Entry>{
                  {"Extension Attributes", "(folder)", of(result, "Extension Attributes").front().outcome}}));
  }
}

TEST_F(BackupExport, OneWriteThatFailsCostsOneObject) {
  files::createDirectories(folder / "out");
  files::armFaultSeam(30, files::FaultAction::fail, EIO);
  const auto result = run();
  files::disarmFaultSeam();
  EXPECT_THAT(failures(result), SizeIs(1));
  EXPECT_THAT(message(failures(result).front()), HasSubstr("Input/output error"));
  expectWholeFiles(result.folderURL);
}

TEST_F(BackupExport, AStopIsACancellationAndWhatWasWrittenIsWhole) {
  for (const std::uint64_t number : {1, 2, 3, 40}) {
    AdministeredServer own;
    std::stop_source source;
    own.server.setRequestHook([&](std::uint64_t request) {
      if (request != number) return;
      own.server.setDelay(std::chrono::minutes(1));
      source.request_stop();
    });
    const files::TempFolder to;
    EXPECT_THROW(BackupExportService{own.client}.exportAll("School", to / "out", {}, source.get_token()),
                 platform::CancellationError)
        << number;
    expectWholeFiles(to.path());
    EXPECT_EQ(filesBelow(to.path()).empty(), number != 40);
  }
}

TEST_F(BackupExport, FilesAreJSONForOtherPrograms) {
  const auto result = run();
  const auto program =
      "import json, pathlib, sys\n"
      "files = list(pathlib.Path(sys.argv[1]).rglob('*'))\n"
      "print(sum(1 for f in files if f.is_file() and json.loads(f.read_bytes())))\n";
  files::atomicWrite(program, folder / "count.py");
  const auto counted =
      orvik::test::outputOf("python3", {(folder / "count.py").string(), result.folderURL.string()});
  EXPECT_EQ(counted, fmt::format("{}\n", filesBelow(result.folderURL).size()));
}

}  // namespace
}  // namespace jamf
