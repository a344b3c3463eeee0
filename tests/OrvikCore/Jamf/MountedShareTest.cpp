#include "OrvikCore/Jamf/MountedShare.h"

#include <gtest/gtest.h>

#include <atomic>
#include <future>
#include <string>

#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "Platform/Files/Files.h"

namespace orvik {
namespace {

using namespace std::chrono_literals;
namespace files = platform::files;
using files::PatientReader;
using Pieces = platform::StreamWriter<platform::Bytes>;

std::string failureOf(MountedShare& share, const std::string& fileName, const files::Path& to) {
  try {
    share.copy(fileName, to, nullptr, [](std::int64_t) {}, {});
  } catch (const DownloadError& error) {
    return error.description();
  }
  return "no failure";
}

TEST(MountedShare, OneThatHungIsNotAskedForAnotherFile) {
  std::promise<void> end;
  const auto ended = end.get_future().share();
  std::atomic<int> opened = 0;
  MountedShare share("/mnt/share", [&](const files::Path& path) {
    ++opened;
    return PatientReader(path, 20ms, [ended](Pieces&) { ended.wait(); });
  });
  const files::TempFolder folder;
  EXPECT_EQ(failureOf(share, "a.pkg", folder / "a.part"),
            "Can't read /mnt/share/Packages/a.pkg: Connection timed out");
  EXPECT_EQ(failureOf(share, "b.pkg", folder / "b.part"),
            "The share /mnt/share did not answer for another file, so it is not asked again.");
  EXPECT_EQ(opened, 1);
  EXPECT_FALSE(files::exists(folder / "a.part"));
  end.set_value();
}

TEST(MountedShare, OneThatLacksAFileOrCantReadItIsAskedForOthers) {
  const files::TempFolder folder;
  files::createDirectories(folder / "Packages/folder.pkg");
  files::atomicWrite("the file", folder / "Packages/b.pkg");
  MountedShare share(folder.path());
  EXPECT_EQ(failureOf(share, "a.pkg", folder / "part"), DownloadError::notFound().description());
  EXPECT_NE(failureOf(share, "folder.pkg", folder / "part"), "no failure");
  EXPECT_NE(failureOf(share, "../Packages", folder / "part"), "no failure");
  EXPECT_EQ(failureOf(share, "b.pkg", folder / "part"), "no failure");
  EXPECT_EQ(files::read(folder / "part"), "the file");
  EXPECT_EQ(PartRecord::load(folder / "part").record->source, share.label());
}

}  // namespace
}  // namespace orvik
