#include "JamfCore/Persistence/ModelContext.h"

#include <gmock/gmock.h>

#include "JamfCore/Persistence/Records.h"
#include "tests/JamfCore/LocalDatabase.h"

namespace jamf {
namespace {

using platform::Date;
using platform::UUID;
using std::chrono::milliseconds;

const Date noon{milliseconds(1'741'090'500'123)};

class LocalRecords : public test::LocalDatabase {
 protected:
  template <class Record>
  void insert(const Record& record) {
    context->save([&](ModelChanges& changes) { changes.insert(record); });
  }
  static JamfOrganization organization(const std::string& name, Date createdAt = noon) {
    return {UUID::random(), name, "https://a.example", "client", createdAt, {}, {}};
  }
  static CachedDevice device(const JamfOrganization& of, const std::string& id, Date cachedAt = noon) {
    CachedDevice record;
    record.cacheKey = of.id.text() + id;
    record.orgID = of.id;
    record.deviceID = id;
    record.cachedAt = cachedAt;
    return record;
  }

  std::shared_ptr<ModelContext> context = open();
};

TEST_F(LocalRecords, EveryKindComesBackAsItWas) {
  const std::string odd("a\0\"'\\ ü\n", 10);
  JamfOrganization org{UUID::random(), odd, "", "c", noon, noon + milliseconds(1), "client name"};
  PlaybookRecord playbook{UUID::random(), org.id, "p", odd, noon, noon, "done", true, noon, true};
  BackupScheduleRecord schedule{
      UUID::random(), org.id, std::string("\xFF\0\x01", 3), "/a", "{}", {}, {}, {}, {}, noon, false};
  auto cached = device(org, "1");
  cached.name = odd;
  cached.assetTag = "";
  context->save([&](ModelChanges& changes) {
    changes.insert(org);
    changes.insert(playbook);
    changes.insert(schedule);
    changes.insert(cached);
  });
  const auto other = open();
  EXPECT_EQ(other->fetch<JamfOrganization>(), std::vector{org});
  EXPECT_EQ(other->fetch<PlaybookRecord>(org.id), std::vector{playbook});
  EXPECT_EQ(other->fetch<BackupScheduleRecord>(org.id), std::vector{schedule});
  EXPECT_EQ(other->fetch<CachedDevice>(org.id), std::vector{cached});
  EXPECT_EQ(other->find<PlaybookRecord>(playbook.id), playbook);
  EXPECT_EQ(other->find<PlaybookRecord>(org.id), std::nullopt);
  EXPECT_TRUE(other->fetch<PlaybookRecord>(UUID::random()).empty());
}

TEST_F(LocalRecords, OrganizationsAreListedByTheTimeOfTheirMaking) {
  const auto late = organization("late", noon + milliseconds(2)), early = organization("early");
  auto same = organization("same", noon + milliseconds(2));
  for (const auto& each : {late, early, same}) insert(each);
  const auto listed = context->fetch<JamfOrganization>();
  ASSERT_EQ(listed.size(), 3U);
  EXPECT_EQ(listed[0].name, "early");
  EXPECT_EQ(listed[1].name, late.id < same.id ? "late" : "same");
}

TEST_F(LocalRecords, ASaveThatFailsChangesNothing) {
  const auto org = organization("a");
  insert(org);
  EXPECT_THROW(context->save([&](ModelChanges& changes) {
    changes.insert(organization("b"));
    changes.insert(org);
  }),
               platform::DatabaseError);
  EXPECT_EQ(context->fetch<JamfOrganization>().size(), 1U);
}

TEST_F(LocalRecords, AnUpdateLeavesWhatOthersChanged) {
  const auto known = organization("a");
  insert(known);
  auto renamed = known, moved = known;
  renamed.name = "b";
  moved.baseURLString = "https://b.example";
  moved.lastUsedAt = noon;
  open()->save([&](ModelChanges& changes) { EXPECT_TRUE(changes.update(known, moved)); });
  context->save([&](ModelChanges& changes) { EXPECT_TRUE(changes.update(known, renamed)); });
  moved.name = "b";
  EXPECT_EQ(context->find<JamfOrganization>(known.id), moved);

  context->save([&](ModelChanges& changes) {
    EXPECT_TRUE(changes.update(moved, moved)) << "nothing differs, and it is there";
    auto cleared = moved;
    cleared.lastUsedAt.reset();
    EXPECT_TRUE(changes.update(moved, cleared));
    EXPECT_TRUE(changes.remove<JamfOrganization>(known.id));
    EXPECT_FALSE(changes.remove<JamfOrganization>(known.id));
    EXPECT_FALSE(changes.update(moved, cleared)) << "it is gone";
    EXPECT_FALSE(changes.update(moved, moved));
  });
}

TEST_F(LocalRecords, DevicesGoWithTheirOrganizationAndWorkStays) {
  const auto org = organization("a");
  insert(org);
  insert(device(org, "1"));
  const PlaybookRecord playbook{UUID::random(), org.id, "p", "", {}, {}, {}, {}, noon, false};
  insert(playbook);
  context->save([&](ModelChanges& changes) { changes.remove<JamfOrganization>(org.id); });
  EXPECT_TRUE(context->fetch<CachedDevice>().empty());
  EXPECT_EQ(context->fetch<PlaybookRecord>(org.id), std::vector{playbook});
  EXPECT_THROW(insert(device(org, "1")), platform::DatabaseError) << "it is of no organization";
}

TEST_F(LocalRecords, TheLatestTimeIsOfOneOrganizationAlone) {
  const auto org = organization("a"), other = organization("b");
  insert(org);
  insert(other);
  EXPECT_EQ(context->latest<CachedDevice>("cachedAt", org.id), std::nullopt);
  insert(device(org, "1", noon));
  insert(device(org, "2", noon - milliseconds(5)));
  insert(device(other, "1", noon + milliseconds(9)));
  EXPECT_EQ(context->latest<CachedDevice>("cachedAt", org.id), noon);
}

}  // namespace
}  // namespace jamf
