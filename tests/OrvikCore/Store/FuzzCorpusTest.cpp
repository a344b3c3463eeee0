#include <gtest/gtest.h>

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
#include "tests/Support/FuzzCorpus.h"

namespace {

using orvik::test::replayCorpus;

TEST(FuzzCorpus, AuditLog) { replayCorpus("AuditLog", orvik::fuzz::brokenAuditRule); }
TEST(FuzzCorpus, SectionIndex) { replayCorpus("SectionIndex", orvik::fuzz::brokenIndexRule); }
TEST(FuzzCorpus, Journal) { replayCorpus("Journal", orvik::fuzz::brokenJournalRule); }
TEST(FuzzCorpus, Envelope) { replayCorpus("Envelope", orvik::fuzz::brokenEnvelopeRule); }
TEST(FuzzCorpus, SealedBlob) { replayCorpus("SealedBlob", orvik::fuzz::brokenSealedBlobRule); }
TEST(FuzzCorpus, EncryptionRecord) {
  replayCorpus("EncryptionRecord", orvik::fuzz::brokenEncryptionRecordRule);
}
TEST(FuzzCorpus, PackIndex) { replayCorpus("PackIndex", orvik::fuzz::brokenPackIndexRule); }
TEST(FuzzCorpus, ContentRange) { replayCorpus("ContentRange", orvik::fuzz::brokenContentRangeRule); }
TEST(FuzzCorpus, PEM) { replayCorpus("PEM", orvik::fuzz::brokenPEMRule); }
TEST(FuzzCorpus, PropertyList) { replayCorpus("PropertyList", orvik::fuzz::brokenPropertyListRule); }
TEST(FuzzCorpus, XMLElement) { replayCorpus("XMLElement", orvik::fuzz::brokenXMLElementRule); }

}  // namespace
