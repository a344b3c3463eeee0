#include "OrvikCore/Care/ContentShare.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "Platform/Crypto/Digest.h"

namespace orvik {
namespace {

constexpr int manyKeys = 2000;

const ObjectKey& keyOf(int number) {
  static const auto keys = [] {
    std::vector<ObjectKey> made;
    for (int i = 0; i < manyKeys; ++i)
      made.push_back(*ObjectKey::parse(platform::sha256Hex(std::to_string(i))));
    return made;
  }();
  return keys[static_cast<std::size_t>(number)];
}

TEST(ContentShareTest, PartsHoldEveryNameOnce) {
  for (const std::uint32_t count : {1U, 2U, 3U, 7U, 100U}) {
    for (int key = 0; key < manyKeys; ++key) {
      int held = 0;
      for (std::uint32_t number = 1; number <= count; ++number)
        held += ContentShare::part(number, count).contains(keyOf(key)) ? 1 : 0;
      ASSERT_EQ(held, 1) << count;
    }
  }
}

TEST(ContentShareTest, SharesThatFollowEachOtherComeAroundInAsManyStepsAsTheyShould) {
  for (const auto& [percent, steps] : {std::pair{10.0, 10}, {33.4, 3}, {50.0, 2}, {100.0, 1}, {1.5, 67}}) {
    std::vector<bool> held(manyKeys);
    ContentShare::Place place = 0x123456789ABCDEF0;
    for (int step = 0; step < steps; ++step) {
      const auto share = ContentShare::from(place, percent);
      for (int key = 0; key < manyKeys; ++key)
        if (share.contains(keyOf(key))) held[static_cast<std::size_t>(key)] = true;
      place = share.end();
    }
    EXPECT_THAT(held, testing::Each(true)) << percent;
  }
}

TEST(ContentShareTest, NothingAndEverything) {
  EXPECT_FALSE(ContentShare::none().contains(keyOf(1)));
  EXPECT_FALSE(ContentShare::from(5, 0).contains(keyOf(1)));
  EXPECT_TRUE(ContentShare::all().contains(keyOf(1)));
  EXPECT_TRUE(ContentShare::from(5, 100).isAll());
  EXPECT_FALSE(ContentShare::part(1, 2).isAll());
}

TEST(ContentShareTest, AStretchMayGoAroundTheEndOfTheRing) {
  const auto share = ContentShare::between(UINT64_MAX - 5, 10);
  EXPECT_TRUE(share.contains(*ObjectKey::parse(std::string(64, '0'))));
  EXPECT_TRUE(share.contains(*ObjectKey::parse(std::string(64, 'f'))));
  EXPECT_FALSE(share.contains(*ObjectKey::parse(std::string(64, '8'))));
  EXPECT_EQ(share.end(), 10U);
}

TEST(ReadingRequestTest, PeopleAskForPartsSharesAndSizes) {
  using Request = ReadingRequest;
  const std::vector<std::pair<const char*, Request>> rows{{"1/7", {Request::Part{1, 7}}},
                                                          {"7/7", {Request::Part{7, 7}}},
                                                          {"1/1000", {Request::Part{1, 1000}}},
                                                          {"10%", {Request::Percent{10}}},
                                                          {"0.5%", {Request::Percent{0.5}}},
                                                          {"0%", {Request::Percent{0}}},
                                                          {"100%", {Request::Percent{100}}},
                                                          {"1", {Request::Size{1}}},
                                                          {"500K", {Request::Size{500'000}}},
                                                          {"50G", {Request::Size{50'000'000'000}}},
                                                          {"2TB", {Request::Size{2'000'000'000'000}}}};
  for (const auto& [text, request] : rows) EXPECT_EQ(Request::parse(text), request) << text;
}

TEST(ReadingRequestTest, AnyOtherTextIsNone) {
  for (const char* text : {"",
                           "0",
                           "0/7",
                           "8/7",
                           "1/",
                           "/7",
                           "1/1001",
                           "-1/7",
                           "1/7/2",
                           "101%",
                           "-1%",
                           "%",
                           "nan%",
                           "G",
                           "B",
                           "1X",
                           "1.5G",
                           "-5",
                           "99999999999999999999",
                           "99999999T",
                           " 1",
                           "1 "})
    EXPECT_FALSE(ReadingRequest::parse(text)) << text;
}

}  // namespace
}  // namespace orvik
