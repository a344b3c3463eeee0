#include <gtest/gtest.h>

#include <functional>
#include <random>
#include <string>

#include "Platform/Files/Files.h"
#include "fuzz/AuditLogCheck.h"
#include "fuzz/ContentRangeCheck.h"
#include "fuzz/EncryptionRecordCheck.h"
#include "fuzz/EnvelopeCheck.h"
#include "fuzz/JournalCheck.h"
#include "fuzz/PEMCheck.h"
#include "fuzz/PackIndexCheck.h"
#include "fuzz/PropertyListCheck.h"
#include "fuzz/SealedBlobCheck.h"
#include "fuzz/SectionIndexCheck.h"
#include "fuzz/XMLElementCheck.h"

// The seeds of the fuzz targets: as they stand, cut everywhere, and changed at seeded places.

namespace {

namespace files = platform::files;
using Check = std::function<std::optional<std::string>(std::string_view)>;

void replay(const char* name, const Check& check) {
  const auto folder = std::filesystem::path(ORVIK_SOURCE_FOLDER) / "fuzz/corpus" / name;
  const auto seeds = files::visibleNames(folder);
  ASSERT_GE(seeds.size(), 4U);
  std::mt19937 random(20250304);
  for (const auto& seed : seeds) {
    const auto bytes = files::read(folder / seed);
    EXPECT_EQ(check(bytes), std::nullopt) << seed;
    for (std::size_t cut = 0; cut < bytes.size(); cut += 1 + bytes.size() / 200)
      EXPECT_EQ(check(std::string_view(bytes).substr(0, cut)), std::nullopt) << seed << " cut at " << cut;
    for (int round = 0; round < 200; ++round) {
      auto changed = bytes;
      const auto at = random() % changed.size();
      changed[at] = static_cast<char>(random());
      EXPECT_EQ(check(changed), std::nullopt) << seed << " changed at " << at;
    }
  }
}

TEST(FuzzCorpus, AuditLog) { replay("AuditLog", orvik::fuzz::brokenAuditRule); }
TEST(FuzzCorpus, SectionIndex) { replay("SectionIndex", orvik::fuzz::brokenIndexRule); }
TEST(FuzzCorpus, Journal) { replay("Journal", orvik::fuzz::brokenJournalRule); }
TEST(FuzzCorpus, Envelope) { replay("Envelope", orvik::fuzz::brokenEnvelopeRule); }
TEST(FuzzCorpus, SealedBlob) { replay("SealedBlob", orvik::fuzz::brokenSealedBlobRule); }
TEST(FuzzCorpus, EncryptionRecord) { replay("EncryptionRecord", orvik::fuzz::brokenEncryptionRecordRule); }
TEST(FuzzCorpus, PackIndex) { replay("PackIndex", orvik::fuzz::brokenPackIndexRule); }
TEST(FuzzCorpus, ContentRange) { replay("ContentRange", orvik::fuzz::brokenContentRangeRule); }
TEST(FuzzCorpus, PEM) { replay("PEM", orvik::fuzz::brokenPEMRule); }
TEST(FuzzCorpus, PropertyList) { replay("PropertyList", orvik::fuzz::brokenPropertyListRule); }
TEST(FuzzCorpus, XMLElement) { replay("XMLElement", orvik::fuzz::brokenXMLElementRule); }

}  // namespace
