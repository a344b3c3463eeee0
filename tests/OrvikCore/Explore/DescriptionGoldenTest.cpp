#include <gtest/gtest.h>

#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "OrvikCore/Explore/ObjectDescriber.h"
#include "OrvikCore/Jamf/JSONTree.h"
#include "tests/Support/DateTexts.h"
#include "tests/Support/DescriptionText.h"
#include "tests/Support/Golden.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/ScopedZone.h"
#include "tests/Support/ServerRun.h"

namespace orvik {
namespace {

using test::ScopedVariable;
using test::ScopedZone;

/// An object of a section, by its ID on the sample server.
struct Chosen {
  std::string section;
  std::string id;
};

const std::vector<Chosen> chosen{
    {"computers", "1"},
    {"mobileDevices", "1"},
    {"users", "1"},
    {"policies", "1"},
    {"scripts", "1"},
    {"computerExtensionAttributes", "1"},
    {"mobileExtensionAttributes", "1"},
    {"userExtensionAttributes", "1"},
    {"computerConfigurationProfiles", "1"},
    {"mobileConfigurationProfiles", "1"},
    {"computerGroups", "1"},
    {"mobileDeviceGroups", "1"},
    {"userGroups", "1"},
    {"packages", "1"},
    {"distributionPoints", "1"},
    // These have no spec of their own.
    {"packageFiles", ""},
    {"categories", "1"},
    {"computerPrestages", "1"},
    {"restrictedSoftware", "1"},
    {"ldapServers", "1"},
    {"webhooks", "1"},
    {"jamfProInformation", "settings"},
};

/// A backup of the sections that are described.
BackupManifest backup(test::ServerRun& run) {
  auto job = run.job();
  job.options.includeClassicDeviceRecords = true;
  std::set<std::string> wanted;
  for (const auto& each : chosen) wanted.insert(each.section);
  for (const auto& section : SectionCatalog::all())
    if (!wanted.contains(std::string(section.id))) job.options.disabledSections.emplace(section.id);
  return BackupEngine(job).run(ResumeInterrupted::yes, {});
}

IndexItem itemOf(const SectionIndex& index, const std::string& id) {
  for (const auto& item : index.items)
    if (id.empty() || item.id == id) return item;
  ADD_FAILURE() << index.sectionID << " has no object " << id;
  return {};
}

/// The server listens on another port each time.
std::string withoutPort(std::string text, std::uint16_t port) {
  for (const auto& [before, after] : {std::pair(fmt::format("127.0.0.1:{}", port), "<server>"),
                                      std::pair(fmt::format("Port = {} ", port), "Port = <port> ")})
    for (std::size_t at; (at = text.find(before)) != std::string::npos;)
      text.replace(at, before.size(), after);
  return text;
}

TEST(DescriptionGoldenTest, StoredObjectsOfTheSampleServerAreDescribedAsReviewed) {
  const ScopedZone zone("UTC");
  const ScopedVariable locale("LC_ALL", "C");
  test::ServerRun run;
  const auto manifest = backup(run);
  const auto store = run.repository().store();
  for (const auto& [section, id] : chosen) {
    const auto index = run.repository().index(manifest.backupID, section);
    ASSERT_TRUE(index) << section;
    const auto item = itemOf(*index, id);
    std::vector<JSONTree> trees;
    std::vector<ObjectDescriber::Variant> variants;
    for (const auto& [variant, hash] : item.objects) {
      trees.push_back(JSONTree::parse(store.object(hash)));
      variants.push_back({variant, *trees.back().raw()});
    }
    const auto description =
        ObjectDescriber::describe(section, item.name.value_or(item.id), variants, item.file);
    test::expectGoldenText(
        "ObjectDescription/" + section + ".txt",
        withoutPort(test::withPlainBlanks(test::descriptionText(description)), run.server.port()));
  }
}

}  // namespace
}  // namespace orvik
