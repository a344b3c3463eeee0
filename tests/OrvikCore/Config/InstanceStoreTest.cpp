#include "OrvikCore/Config/InstanceStore.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Platform/Files/Files.h"

namespace orvik {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

InstanceConfig instance(std::string name) {
  InstanceConfig made;
  made.id = platform::UUID::random();
  made.name = std::move(name);
  made.url = "https://jamf.example/";
  made.clientID = "client";
  return made;
}

InstanceConfig managed(std::string name) {
  auto made = instance(std::move(name));
  made.managedSecret = std::make_shared<const platform::SecretString>(std::string("hunter2-managed"));
  return made;
}

class InstanceStoreTest : public testing::Test {
 protected:
  platform::files::TempFolder folder;
  InstanceStore store{folder.path()};
};

TEST_F(InstanceStoreTest, WhatIsSavedIsReadInItsOrder) {
  auto second = instance("B");
  second.fileShareMountPath = "/mnt/packages";
  const std::vector all{instance("Z"), second, instance("A")};
  store.save(all);
  EXPECT_EQ(store.load(), all);
  EXPECT_EQ(store.fileURL, folder / "instances.json");
}

TEST_F(InstanceStoreTest, TheFileIsAPrettyArrayWithEscapedSlashes) {
  const auto one = instance("School");
  store.save({one});
  EXPECT_EQ(platform::files::read(store.fileURL),
            "[\n  {\n    \"clientID\" : \"client\",\n    \"id\" : \"" + one.id.text() +
                "\",\n    \"name\" : \"School\",\n    \"url\" : \"https:\\/\\/jamf.example\\/\"\n  }\n]");
}

TEST_F(InstanceStoreTest, ManagedInstancesAreNotWrittenDown) {
  const auto own = instance("Own");
  store.save({managed("Managed"), own});
  EXPECT_THAT(store.load(), ElementsAre(own));
  EXPECT_THAT(platform::files::read(store.fileURL), Not(HasSubstr("hunter2")));
}

TEST_F(InstanceStoreTest, AListOfOnlyManagedInstancesIsAnEmptyArray) {
  store.save({managed("A"), managed("B")});
  EXPECT_EQ(platform::files::read(store.fileURL), "[\n\n]");
  EXPECT_THAT(store.load(), IsEmpty());
}

TEST_F(InstanceStoreTest, AMissingOrDamagedFileHasNoInstances) {
  EXPECT_THAT(store.load(), IsEmpty());
  for (const auto* text : {"", "{}", "[1]", "[{\"id\":\"x\"}]", "[", "\xFF"}) {
    platform::files::atomicWrite(text, store.fileURL);
    EXPECT_THAT(store.load(), IsEmpty()) << text;
  }
  platform::files::atomicWrite("[" + std::string(2 << 20, ' ') + "]", store.fileURL);
  EXPECT_THAT(store.load(), IsEmpty());
}

}  // namespace
}  // namespace orvik
