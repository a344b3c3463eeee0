#include "OrvikCore/Jamf/PartRecord.h"

#include <gtest/gtest.h>

#include "Platform/Files/Files.h"

namespace orvik {
namespace {

namespace files = platform::files;

struct PartRecordTest : testing::Test {
  files::TempFolder folder;
  files::Path part = folder / "x.part";
};

TEST_F(PartRecordTest, StandsBesideThePartAndComesBack) {
  const PartRecord record{"mount:/mnt/ä", {"\"v\"", "Mon, 20 Jul 2026 11:56:02 GMT"}, 2000};
  record.save(part);
  EXPECT_EQ(PartRecord::path(part), folder / "x.part.json");
  EXPECT_EQ(
      files::read(folder / "x.part.json"),
      "{\n  \"source\" : \"mount:/mnt/ä\",\n  \"total\" : 2000,\n  \"validator\" : {\n"
      "    \"etag\" : \"\\\"v\\\"\",\n    \"lastModified\" : \"Mon, 20 Jul 2026 11:56:02 GMT\"\n  }\n}");
  const auto found = PartRecord::load(part);
  EXPECT_TRUE(found.exists);
  EXPECT_EQ(found.record, record);
}

TEST_F(PartRecordTest, AMissingOneIsToldFromOneThatCanNotBeRead) {
  EXPECT_FALSE(PartRecord::load(part).exists);
  for (const std::string& text :
       {std::string(), std::string("{}"), std::string("[1]"), std::string("{\"source\":1,\"validator\":{}}"),
        std::string(100'000, ' ')}) {
    files::atomicWrite(text, PartRecord::path(part));
    EXPECT_TRUE(PartRecord::load(part).exists);
    EXPECT_EQ(PartRecord::load(part).record, std::nullopt) << text.substr(0, 40);
  }
}

TEST_F(PartRecordTest, WhatCouldNotBeSentAsAHeaderIsNoValidator) {
  PartRecord{"a", {"\"a\r\nX: b\"", "a\nb"}, -5}.save(part);
  EXPECT_EQ(PartRecord::load(part).record, (PartRecord{"a", {}, {}}));
}

TEST_F(PartRecordTest, GoesWithThePart) {
  files::atomicWrite("bytes", part);
  PartRecord{"a", {}, {}}.save(part);
  removePart(part);
  EXPECT_TRUE(files::list(folder.path()).empty());
  removePart(part);  // nothing there is no error
}

platform::HTTPResponse headWith(platform::HTTPHeaders headers) {
  platform::HTTPResponse head;
  head.headers = std::move(headers);
  return head;
}

TEST(PartValidator, IsAStrongETagAndTheDate) {
  EXPECT_EQ(PartValidator::of(headWith({{"etag", "\"a\""}, {"last-modified", "date"}})),
            (PartValidator{"\"a\"", "date"}));
  EXPECT_EQ(PartValidator::of(headWith({})), PartValidator());
  for (const std::string& weak :
       {std::string("W/\"a\""), std::string("a"), std::string("\""), std::string("\"a\"b\""),
        std::string("\"\xff\""), '"' + std::string(5000, 'x') + '"'})
    EXPECT_EQ(PartValidator::of(headWith({{"ETag", weak}})).etag, std::nullopt) << weak.substr(0, 20);
}

TEST(PartValidator, ContradictsAnotherOfItsKindOnly) {
  const PartValidator a{"\"a\"", "1"}, b{"\"b\"", "1"}, later{{}, "2"}, none;
  EXPECT_TRUE(a.contradicts(b));
  EXPECT_FALSE(a.contradicts(a));
  EXPECT_FALSE(a.contradicts(none));
  EXPECT_TRUE(a.contradicts(later));
  EXPECT_FALSE((PartValidator{"\"a\"", "1"}.contradicts(PartValidator{"\"a\"", "2"})));
}

}  // namespace
}  // namespace orvik
