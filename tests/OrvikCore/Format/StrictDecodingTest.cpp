#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupLock.h"
#include "tests/Support/Golden.h"
#include "tests/Support/SampleRecords.h"

namespace {

using namespace orvik;
namespace files = platform::files;

/// A golden document with its one `from` replaced by `to`.
std::string altered(const std::string& golden, const std::string& from, const std::string& to) {
  auto text = files::read(test::goldenPath(golden + ".json"));
  const auto at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from << " is not in " << golden;
  if (at != std::string::npos) text.replace(at, from.size(), to);
  return text;
}

template <class Record>
bool decodes(const std::string& text) {
  return BackupFormat::makeDecoder().tryDecode<Record>(text).has_value();
}

struct Refused {
  const char* name;
  const char* from;
  const char* to;
};

class ManifestRefuses : public testing::TestWithParam<Refused> {};

TEST_P(ManifestRefuses, TheAlteredDocument) {
  ASSERT_TRUE(decodes<BackupManifest>(altered("BackupManifest/full", "", "")));
  EXPECT_FALSE(decodes<BackupManifest>(altered("BackupManifest/full", GetParam().from, GetParam().to)));
}

INSTANTIATE_TEST_SUITE_P(
    Rows, ManifestRefuses,
    testing::Values(Refused{"DateWithFraction", "2025-03-04T11:59:59Z", "2025-03-04T11:59:59.5Z"},
                    Refused{"DateWithOffset", "2025-03-04T11:59:59Z", "2025-03-04T11:59:59+00:00"},
                    Refused{"DateOfNoDay", "2025-03-04T11:59:59Z", "2025-02-29T11:59:59Z"},
                    Refused{"DateAsNumber", "\"2025-03-04T11:59:59Z\"", "1741089599"},
                    Refused{"IntegerWithPoint", "\"formatVersion\" : 3", "\"formatVersion\" : 3.0"},
                    Refused{"IntegerWithExponent", "\"objects\" : 1234", "\"objects\" : 1e3"},
                    Refused{"IntegerAsText", "\"objects\" : 1234", "\"objects\" : \"1234\""},
                    Refused{"IntegerBeyond64Bits", "9223372036854775807", "9223372036854775808"},
                    Refused{"TruthAsNumber", "\"downloadFiles\" : true", "\"downloadFiles\" : 1"},
                    Refused{"NullForRequired", "\"orvikVersion\" : \"0.1.0\"", "\"orvikVersion\" : null"},
                    Refused{"MissingRequired", "\"orvikVersion\" : \"0.1.0\",", ""},
                    Refused{"UnknownStatus", "completeWithWarnings", "halfway"},
                    Refused{"StatusInOtherCase", "completeWithWarnings", "CompleteWithWarnings"},
                    Refused{"UnknownSectionStatus", "\"partial\"", "\"torn\""},
                    Refused{"InvalidUUID", "6F9619FF-8B86-D011-B42D-00CF4FC964FF",
                            "6F9619FF8B86D011B42D00CF4FC964FF"},
                    Refused{"NumberInTextList", "\"Read Scripts\"", "7"},
                    Refused{"NullInTextList", "\"Read Scripts\"", "null"},
                    Refused{"ListForObject", "\"totals\" : {", "\"totals\" : [], \"was\" : {"},
                    Refused{"TrailingText", "\"backupID\"", "} \"backupID\""}),
    [](const auto& row) { return row.param.name; });

class ManifestAccepts : public testing::TestWithParam<Refused> {};

TEST_P(ManifestAccepts, TheAlteredDocument) {
  EXPECT_TRUE(decodes<BackupManifest>(altered("BackupManifest/full", GetParam().from, GetParam().to)));
}

INSTANTIATE_TEST_SUITE_P(Rows, ManifestAccepts,
                         testing::Values(Refused{"UnknownKey", "{", "{ \"later\" : {\"x\" : [1]},"},
                                         Refused{"UUIDInLowerCase", "6F9619FF-8B86-D011-B42D-00CF4FC964FF",
                                                 "6f9619ff-8b86-d011-b42d-00cf4fc964ff"},
                                         Refused{"VersionOfTheFuture", "\"formatVersion\" : 3",
                                                 "\"formatVersion\" : 99"},
                                         Refused{"IntegerForADouble", "12.5", "12"}),
                         [](const auto& row) { return row.param.name; });

TEST(StrictDecoding, NullForAnOptionalFieldCountsAsAbsent) {
  const auto text =
      altered("BackupManifest/full", "\"jamfProVersion\" : \"11.15.1-t1741\"", "\"jamfProVersion\" : null");
  const auto manifest = BackupFormat::makeDecoder().decode<BackupManifest>(text);
  EXPECT_FALSE(manifest.jamfProVersion);
  EXPECT_EQ(BackupFormat::makeEncoder().encode(manifest).find("jamfProVersion"), std::string::npos);
}

TEST(StrictDecoding, OfARepeatedKeyTheLastCounts) {
  const auto text = altered("RemovedItem/minimal", "\"id\" : \"7\"", "\"id\" : \"6\", \"id\" : \"7\"");
  EXPECT_EQ(BackupFormat::makeDecoder().decode<RemovedItem>(text).id, "7");
}

TEST(StrictDecoding, FalseStaysInTheJSON) {
  EXPECT_NE(BackupFormat::makeEncoder().encode(test::plainOptions()).find("\"downloadFiles\" : false"),
            std::string::npos);
  FileRef file;
  file.jamfHashVerified = false;
  EXPECT_NE(BackupFormat::makeEncoder().encode(file).find("\"jamfHashVerified\" : false"), std::string::npos);
}

TEST(StrictDecoding, AProcessIDOfMoreThan32BitsIsRefused) {
  EXPECT_FALSE(decodes<BackupLock>(altered("BackupLock/full", "2147483647", "2147483648")));
}

TEST(StrictDecoding, AnIndexWithANumberForAHashIsRefused) {
  EXPECT_FALSE(
      decodes<SectionIndex>(altered("SectionIndex/full", "\"json\" : \"", "\"n\" : 1, \"json\" : \"")));
}

TEST(StrictDecoding, AnUnknownChangeIsRefused) {
  EXPECT_FALSE(decodes<IndexItem>(altered("IndexItem/full", "\"changed\"", "\"renewed\"")));
}

TEST(StrictDecoding, TheErrorNamesTheFieldsPath) {
  const auto text = altered("BackupManifest/full", "\"total\" : 12", "\"total\" : 12.0");
  try {
    BackupFormat::makeDecoder().decode<BackupManifest>(text);
    FAIL() << "it was decoded";
  } catch (const platform::json::DecodingError& error) {
    EXPECT_EQ(error.path(), "sections[0].counts.total");
  }
}

TEST(BackupOptions, ASectionIsEnabledUnlessItIsListed) {
  auto options = test::plainOptions();
  options.disabledSections = {"packages"};
  EXPECT_FALSE(options.isEnabled("packages"));
  EXPECT_TRUE(options.isEnabled("package"));
  EXPECT_TRUE(options.isEnabled(""));
}

}  // namespace
