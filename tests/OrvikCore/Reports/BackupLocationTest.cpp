#include "OrvikCore/Reports/BackupLocation.h"

#include <gtest/gtest.h>

#include "Platform/Files/Files.h"

namespace orvik::test {
namespace {

using Kind = BackupLocation::Kind;
using platform::files::TempFolder;
using std::filesystem::perms;

TEST(BackupLocationTest, SynchronisedFoldersAreKnownByTheirPath) {
  struct Row {
    const char* path;
    Kind kind;
    std::optional<std::string> provider;
    const char* text;
  };
  for (const auto& row :
       {Row{"/Users/a/Library/Mobile Documents/com~apple~CloudDocs/x", Kind::iCloud, {}, "iCloud Drive"},
        Row{"/Users/a/Library/CloudStorage/OneDrive-Contoso/x", Kind::cloudStorage, "OneDrive", "OneDrive"},
        Row{"/Users/a/Library/CloudStorage/Box/x-y", Kind::cloudStorage, "Box", "Box"},
        Row{"/Users/a/Library/CloudStorage/Dropbox", Kind::cloudStorage, "Dropbox", "Dropbox"},
        Row{"/Users/a/Library/CloudStorage/-x/y", Kind::cloudStorage, {}, "Cloud storage (File Provider)"},
        Row{"/Users/a/Library/CloudStorage/", Kind::cloudStorage, {}, "Cloud storage (File Provider)"},
        Row{"/proc/Library/CloudStorage", Kind::local, {}, "Local disk"},
        Row{"/proc/at/all", Kind::local, {}, "Local disk"}, Row{"", Kind::local, {}, "Local disk"}}) {
    EXPECT_EQ(BackupLocation::kind(row.path), row.kind) << row.path;
    EXPECT_EQ(BackupLocation::provider(row.path), row.provider) << row.path;
    EXPECT_EQ(BackupLocation::describe(row.path), row.text) << row.path;
  }
}

TEST(BackupLocationTest, PermissionsAreShownAsAListingShowsThem) {
  struct Row {
    int mode;
    const char* text;
    bool othersCanRead;
  };
  const TempFolder folder;
  for (const auto& row :
       {Row{0750, "drwxr-x---", false}, Row{0755, "drwxr-xr-x", true}, Row{0700, "drwx------", false},
        Row{0704, "drwx---r--", true}, Row{01777, "drwxrwxrwt", true}, Row{01770, "drwxrwx--T", false},
        Row{02750, "drwxr-s---", false}, Row{02740, "drwxr-S---", false}, Row{04700, "drws------", false},
        Row{04600, "drwS------", false}}) {
    std::filesystem::permissions(folder.path(), static_cast<perms>(row.mode));
    const auto permissions = BackupLocation::permissions(folder.path());
    ASSERT_TRUE(permissions);
    EXPECT_EQ(permissions->text, row.text);
    EXPECT_EQ(permissions->othersCanRead, row.othersCanRead) << row.text;
  }
  std::filesystem::permissions(folder.path(), perms::owner_all);
}

TEST(BackupLocationTest, PermissionsOfAFileAndOfNothing) {
  const TempFolder folder;
  platform::files::atomicWrite("", folder / "file", platform::files::Flush::no, static_cast<perms>(0640));
  EXPECT_EQ(BackupLocation::permissions(folder / "file").value().text, "-rw-r-----");
  EXPECT_FALSE(BackupLocation::permissions(folder / "missing"));
}

}  // namespace
}  // namespace orvik::test
