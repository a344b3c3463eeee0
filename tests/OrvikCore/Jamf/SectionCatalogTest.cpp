#include "OrvikCore/Jamf/SectionCatalog.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "Platform/Files/Files.h"
#include "Platform/JSON/Codable.h"

namespace orvik {
namespace {

std::string groupName(SectionDefinition::Group group) {
  using enum SectionDefinition::Group;
  switch (group) {
    case devices:
      return "devices";
    case configuration:
      return "configuration";
    case groups:
      return "groups";
    case content:
      return "content";
    case secondary:
      return "secondary";
  }
  return "?";
}

struct KindText {
  std::string operator()(const SectionDefinition::ClassicList& k) const {
    return fmt::format("classicList list={} key={} detail={}", k.list, k.key, k.detail);
  }
  std::string operator()(const SectionDefinition::ClassicSingle& k) const {
    return fmt::format("classicSingle path={}", k.path);
  }
  std::string operator()(const SectionDefinition::Pro& k) const {
    return fmt::format("pro path={} detail={} idKeys={}", k.path, k.detail, k.idKeys[0]);
  }
  std::string operator()(const SectionDefinition::Devices& k) const {
    return fmt::format("devices {}", platform::json::textOf(k.kind));
  }
  std::string operator()(const SectionDefinition::ClassicAccounts&) const { return "classicAccounts"; }
  std::string operator()(const SectionDefinition::Files&) const { return "files"; }
};

TEST(SectionCatalog, EveryRowIsTheOneOfTheGoldenTable) {
  std::string table;
  for (const auto& row : SectionCatalog::all())
    table += fmt::format("{}\t{}\t{}\t{}\t{}\n", row.id, row.title, groupName(row.group),
                         std::visit(KindText{}, row.kind), row.privilege);
  EXPECT_EQ(table, platform::files::read(ORVIK_SOURCE_FOLDER "/tests/golden/catalog/sections.tsv"));
}

TEST(SectionCatalog, Holds78RowsAndNoIdTwice) {
  std::set<std::string_view> ids;
  for (const auto& row : SectionCatalog::all()) ids.insert(row.id);
  EXPECT_EQ(SectionCatalog::all().size(), 78U);
  EXPECT_EQ(ids.size(), 78U);
}

TEST(SectionCatalog, PrimaryHas18RowsAndSecondaryTheOther60) {
  EXPECT_EQ(SectionCatalog::primary().size(), 18U);
  EXPECT_EQ(SectionCatalog::secondary().size(), 60U);
  for (const auto& row : SectionCatalog::primary()) EXPECT_NE(row.group, SectionDefinition::Group::secondary);
  for (const auto& row : SectionCatalog::secondary())
    EXPECT_EQ(row.group, SectionDefinition::Group::secondary);
}

TEST(SectionCatalog, DefinitionOfAnUnknownIdIsAbsent) {
  EXPECT_EQ(SectionCatalog::definition("nosuchsection"), nullptr);
  ASSERT_NE(SectionCatalog::definition("policies"), nullptr);
  EXPECT_EQ(SectionCatalog::definition("policies")->title, "Policies");
}

TEST(SectionCatalog, PackageFilesAndAccountsAreTheOnlyRowsOfTheirKinds) {
  for (const auto& row : SectionCatalog::all()) {
    EXPECT_EQ(std::holds_alternative<SectionDefinition::Files>(row.kind), row.id == "packageFiles") << row.id;
    EXPECT_EQ(std::holds_alternative<SectionDefinition::ClassicAccounts>(row.kind), row.id == "accounts")
        << row.id;
  }
}

TEST(SectionCatalog, PrivilegesAreNotUnique) {
  EXPECT_EQ(SectionCatalog::definition("computerCheckIn")->privilege, "Read Computer Check-In");
  EXPECT_EQ(SectionCatalog::definition("checkInSettings")->privilege, "Read Computer Check-In");
  EXPECT_NE(SectionCatalog::definition("jcdsFiles")->privilege,
            SectionCatalog::definition("packageFiles")->privilege);
}

TEST(SectionCatalog, JcdsFilesHasTheOnlyOtherIdFieldAndBlueprintsTheOnlyDetailPath) {
  for (const auto& row : SectionCatalog::all()) {
    const auto* pro = std::get_if<SectionDefinition::Pro>(&row.kind);
    if (!pro) continue;
    EXPECT_EQ(pro->idKeys[0], row.id == "jcdsFiles" ? "fileName" : "id") << row.id;
    EXPECT_EQ(pro->detail, row.id == "blueprints" ? "api/blueprints" : "") << row.id;
  }
}

TEST(SectionCatalog, GroupsHaveTheirDisplayTexts) {
  using platform::json::textOf;
  EXPECT_EQ(textOf(SectionDefinition::Group::devices), "Devices & users");
  EXPECT_EQ(textOf(SectionDefinition::Group::configuration), "Configuration");
  EXPECT_EQ(textOf(SectionDefinition::Group::groups), "Groups");
  EXPECT_EQ(textOf(SectionDefinition::Group::content), "Packages & distribution");
  EXPECT_EQ(textOf(SectionDefinition::Group::secondary), "Other settings");
}

}  // namespace
}  // namespace orvik
