#include "OrvikCore/Care/PackSalvage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <set>

#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/Files.h"
#include "tests/Support/Folders.h"
#include "tests/Support/TestKeys.h"

namespace orvik {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Texts = std::vector<std::string>;
namespace files = platform::files;

std::string canonical(const std::string& json) { return *ObjectStore::canonicalJSON(json); }

/// A pack file of these stored bytes, and what is found of it again, as bytes.
struct Salvaging : testing::Test {
  files::TempFolder folder;
  std::set<std::string> wanted;  ///< names of plain entries
  std::optional<BackupCipher> cipher;

  Texts found(const std::string& pack) const {
    test::write(folder / "a.pack", pack);
    const auto entries = salvagePack(folder / "a.pack", ContentProof(cipher),
                                     [&](const ObjectKey& key, std::string_view bytes) {
                                       EXPECT_EQ(platform::sha256Hex(bytes), key.text());
                                       return wanted.contains(key.text());
                                     });
    Texts texts;
    std::int64_t end = 0;
    for (const auto& [key, range] : entries) {
      EXPECT_GE(range.offset, end) << "entries overlap";
      end = range.offset + range.length;
      texts.push_back(
          pack.substr(static_cast<std::size_t>(range.offset), static_cast<std::size_t>(range.length)));
    }
    return texts;
  }
  std::string want(const std::string& bytes) {
    wanted.insert(platform::sha256Hex(bytes));
    return bytes;
  }
  static std::string joined(const Texts& texts) {
    std::string all;
    for (const auto& text : texts) all += text;
    return all;
  }

  const Texts documents{want(canonical(R"({"id":1,"list":[],"map":{},"deep":{"a":[{"b":"}\n{"}]}})")),
                        want(canonical("[1,[2],{}]")), want(canonical("{}")), want(canonical("[]")),
                        want(canonical(R"({"name":"last"})"))};
};

TEST_F(Salvaging, EveryDocumentOfAPackIsFound) { EXPECT_EQ(found(joined(documents)), documents); }

TEST_F(Salvaging, AnEmptyPackGivesNothing) { EXPECT_THAT(found(""), IsEmpty()); }

TEST_F(Salvaging, WhatNobodyWantsIsPassedOver) {
  wanted.erase(platform::sha256Hex(documents[1]));
  EXPECT_THAT(found(joined(documents)), ElementsAre(documents[0], documents[2], documents[3], documents[4]));
}

TEST_F(Salvaging, TextsThatAreNoDocumentsAreFoundBetweenThem) {
  const auto xml = want("<?xml version=\"1.0\"?><policy><id>1</id></policy>");
  const auto other = want("<?xml version=\"1.0\"?><policy>{\n}</policy>");
  const auto number = want("12");
  const Texts all{documents[0], xml, other, documents[1], number, documents[4], want("Bad gateway")};
  EXPECT_EQ(found(joined(all)), all);
}

TEST_F(Salvaging, OneFlippedByteCostsOneEntryWhereverItIs) {
  Texts all = documents;
  for (int i = 0; i < 20; ++i)
    all.push_back(want(canonical("{\"id\":" + std::to_string(i) + ",\"x\":{\"y\":[3]}}")));
  const auto pack = joined(all);
  for (std::size_t at = 0; at < pack.size(); ++at) {
    auto damaged = pack;
    damaged[at] = static_cast<char>(damaged[at] ^ 0x20);
    EXPECT_GE(found(damaged).size() + 1, all.size()) << at;
  }
}

TEST_F(Salvaging, ACutPackGivesWhatIsWholeInIt) {
  const auto pack = joined(documents);
  for (std::size_t size = 0; size <= pack.size(); ++size) {
    std::size_t whole = 0, end = 0;
    for (const auto& each : documents)
      if ((end += each.size()) <= size) ++whole;
    EXPECT_EQ(found(pack.substr(0, size)).size(), whole) << size;
  }
}

TEST_F(Salvaging, SealedEntriesProveThemselvesWithTheKeyAlone) {
  const auto key = test::cipherOf();
  std::mt19937 random(7);
  Texts all;
  for (int i = 0; i < 30; ++i) {
    std::string content(random() % 3000, ' ');
    for (auto& c : content) c = static_cast<char>(random());
    all.push_back(key.seal(content));
  }
  EXPECT_THAT(found(joined(all)), IsEmpty());
  cipher = test::cipherOf("another");
  EXPECT_THAT(found(joined(all)), IsEmpty());
  cipher = key;
  EXPECT_EQ(found(joined(all)), all);
}

TEST_F(Salvaging, SealedEntriesAroundADamagedOneAreFound) {
  cipher = test::cipherOf();
  const Texts sealed{cipher->seal("{}"), cipher->seal("two"), cipher->seal("three")};
  auto damaged = sealed[1];
  damaged[30] = static_cast<char>(damaged[30] ^ 1);
  EXPECT_THAT(found(sealed[0] + damaged + sealed[2] + documents[0] + sealed[1]),
              ElementsAre(sealed[0], sealed[2], documents[0], sealed[1]));
  const auto torn = documents[0].substr(0, documents[0].size() - 2);
  EXPECT_THAT(found(torn + sealed[0] + sealed[2] + documents[4]),
              ElementsAre(sealed[0], sealed[2], documents[4]));
}

TEST_F(Salvaging, ADocumentLargerThanAPieceOfReadingIsFound) {
  const auto large = want(canonical("{\"text\":\"" + std::string(9'000'000, 'x') + "\",\"z\":1}"));
  const auto text = want("<?xml " + std::string(9'000'000, 'y'));
  const Texts all{documents[0], large, documents[1], text, documents[4]};
  EXPECT_EQ(found(joined(all)), all);
}

TEST_F(Salvaging, AHostilePackCostsNoMoreThanItsLength) {
  std::string begins, ends, both;
  while (begins.size() < 200'000) begins += "{\n  \"";
  while (ends.size() < 200'000) ends += "\n}";
  while (both.size() < 200'000) both += "<?xml{\n\n}";
  const auto started = platform::MonotonicClock::now();
  EXPECT_THAT(found(begins), IsEmpty());
  EXPECT_THAT(found(begins + "\n}"), IsEmpty());
  EXPECT_THAT(found(ends), IsEmpty());
  EXPECT_FALSE(found(both).empty());
  EXPECT_LT(platform::MonotonicClock::now() - started, std::chrono::seconds(30));
}

TEST_F(Salvaging, AStopEndsIt) {
  std::stop_source stop;
  stop.request_stop();
  test::write(folder / "a.pack", joined(documents));
  EXPECT_THROW(salvagePack(
                   folder / "a.pack", ContentProof({}), [](auto&, auto) { return true; }, stop.get_token()),
               platform::CancellationError);
}

TEST_F(Salvaging, AMissingPackIsAnError) {
  EXPECT_THROW(salvagePack(folder / "none.pack", ContentProof({}), [](auto&, auto) { return true; }),
               files::FileError);
}

}  // namespace
}  // namespace orvik
