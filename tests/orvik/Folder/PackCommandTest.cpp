#include "OrvikCore/Store/PackCache.h"
#include "OrvikCore/Store/PackStore.h"
#include "tests/Support/FolderCare.h"

namespace orvik {
namespace {

using test::member;
using test::ProgramEnd;
using testing::HasSubstr;
namespace files = platform::files;

class PackCommand : public test::FolderCare {
 protected:
  ProgramEnd pack(const Arguments& more = {}) const { return command("pack", more); }
  std::size_t looseCount() const { return PackStore::looseObjects(root()).size(); }
};

TEST_F(PackCommand, MovesSingleObjectsIntoOneFile) {
  ASSERT_EQ(looseCount(), 3u);
  const auto end = pack();
  EXPECT_EQ(end.status, 0) << end.error;
  EXPECT_THAT(end.output, testing::MatchesRegex("Packed 3 objects \\([^\n]*\\) into one file.\n"));
  EXPECT_EQ(looseCount(), 0u);
  PackCache::shared().invalidate(store().packsDirectory());
  EXPECT_TRUE(store().has(sample.json, ObjectStore::IncludingOverlay::no));
  EXPECT_FALSE(files::exists(lockPath()));
  const auto again = pack();
  EXPECT_EQ(again.status, 0);
  EXPECT_EQ(again.output, "Nothing to pack: there are no single object files.\n");
}

TEST_F(PackCommand, ADamagedObjectStaysAndIsRemarkedOn) {
  test::write(store().objectURL(sample.json), "damaged");
  const auto end = pack({"--json"});
  EXPECT_EQ(end.status, 0) << end.error;
  const auto lines = linesOf(end);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_THAT(member(lines[0], "text"), HasSubstr("1 object file stay"));
  EXPECT_EQ(member(lines[1], "event"), "finished");
  EXPECT_EQ(member(lines[1], "objects"), "2");
  EXPECT_EQ(member(lines[1], "left"), "1");
  EXPECT_EQ(files::read(store().objectURL(sample.json)), "damaged");
  EXPECT_EQ(pack().output, "Nothing was packed.\n");
}

TEST_F(PackCommand, ASealedFolderNeedsItsKey) {
  const auto key = seal();
  const auto before = content();
  EXPECT_EQ(pack().status, 12);
  EXPECT_EQ(content(), before);
  EXPECT_EQ(pack({"--key", key}).status, 0);
  EXPECT_EQ(looseCount(), 0u);
}

TEST_F(PackCommand, AnotherWriterIsRespected) {
  const auto other = otherWriter();
  const auto before = content();
  EXPECT_EQ(pack().status, 11);
  EXPECT_EQ(content(), before);
}

}  // namespace
}  // namespace orvik
