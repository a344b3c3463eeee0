#include "orvik/Instances/InstanceFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <thread>

#include "Platform/Files/FaultSeam.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"
#include "tests/Support/ForcedPlaces.h"

namespace orvik::host {
namespace {

namespace files = platform::files;
using testing::HasSubstr;

struct InstanceFileTest : testing::Test {
  test::ForcedPlaces forced;
  const HostPlaces places = forced.places();
  const InstanceStore store{forced.data()};

  static InstanceConfig instance(const std::string& name) {
    return {platform::UUID::random(), name, "https://" + name + ".example", "client", {}, nullptr};
  }
  void add(const std::string& name) const {
    InstanceFile::change(places, [&](auto& all) { all.push_back(instance(name)); }, {});
  }
  std::size_t count() const { return store.load().size(); }
};

TEST_F(InstanceFileTest, AChangeMakesTheFileAndKeepsWhatIsThere) {
  EXPECT_TRUE(InstanceFile::isReadable(store));
  add("a");
  add("b");
  ASSERT_EQ(count(), 2U);
  EXPECT_EQ(store.load()[1].name, "b");
}

TEST_F(InstanceFileTest, ADamagedFileIsNamedAndNotOverwritten) {
  files::atomicWrite("[{\"name\": \"somebody's handiwork\"}", store.fileURL);
  EXPECT_FALSE(InstanceFile::isReadable(store));
  try {
    add("a");
    ADD_FAILURE() << "it was overwritten";
  } catch (const tuv::Error& error) {
    EXPECT_THAT(error.description(), HasSubstr(store.fileURL.string()));
  }
  EXPECT_THAT(files::read(store.fileURL), HasSubstr("handiwork"));
}

TEST_F(InstanceFileTest, AFileThatIsHugeIsNotRead) {
  files::createDirectories(forced.data());
  files::atomicWrite("[]", store.fileURL);
  ASSERT_EQ(::truncate(store.fileURL.c_str(), 1LL << 40), 0);
  EXPECT_FALSE(InstanceFile::isReadable(store));
  EXPECT_THROW(add("a"), tuv::Error);
}

TEST_F(InstanceFileTest, AFolderInItsPlaceIsNoFile) {
  files::createDirectories(store.fileURL);
  EXPECT_FALSE(InstanceFile::isReadable(store));
  EXPECT_THROW(add("a"), tuv::Error);
}

TEST_F(InstanceFileTest, WhatAnEditThrowsLeavesTheFileAsItWas) {
  add("a");
  const auto before = files::read(store.fileURL);
  EXPECT_THROW(InstanceFile::change(places,
                                    [](auto& all) {
                                      all.clear();
                                      throw tuv::Error("no");
                                    },
                                    {}),
               tuv::Error);
  EXPECT_EQ(files::read(store.fileURL), before);
}

TEST_F(InstanceFileTest, ADiskThatFailsLeavesTheFileAsItWas) {
  add("a");
  const auto before = files::read(store.fileURL);
  int failures = 0;
  for (std::uint64_t n = 1; n < 50; ++n) {
    files::armFaultSeam(n, files::FaultAction::fail, ENOSPC);
    try {
      add("b");
    } catch (const files::FileError&) {
      ++failures;
    }
    const auto operations = files::operationsSinceArmed();
    files::disarmFaultSeam();
    if (operations < n) break;
    EXPECT_EQ(files::read(store.fileURL), before) << n;
  }
  EXPECT_GE(failures, 2);
  EXPECT_EQ(count(), 2U) << "the last one met no fault";
}

TEST_F(InstanceFileTest, TwoWhoChangeItAtOnceLoseNothing) {
  std::vector<std::jthread> writers;
  for (int i = 0; i < 4; ++i)
    writers.emplace_back([this, i] {
      for (int k = 0; k < 5; ++k) add("n" + std::to_string(i * 10 + k));
    });
  writers.clear();
  EXPECT_EQ(count(), 20U);
}

}  // namespace
}  // namespace orvik::host
