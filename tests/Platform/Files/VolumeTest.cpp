#include "Platform/Files/Volume.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace platform::files {
namespace {

constexpr std::string_view table =
    "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n"
    "23 22 0:21 / /proc rw - proc proc rw\n"
    "30 22 0:40 / /mnt/share rw shared:2 master:1 - nfs4 server:/export rw\n"
    "31 22 0:41 / /mnt/My\\040Share rw - cifs //server/x rw\n"
    "32 22 0:42 / /mnt/over rw - fuse.sshfs me@server: rw\n"
    "33 22 0:43 / /mnt/own rw - fuse.gocryptfs /home/me/cipher rw\n"
    "34 22 8:17 / /media/me/Stick rw - vfat /dev/sdb1 rw\n"
    "35 22 8:33 / /srv/usb rw - ext4 /dev/sdc1 rw\n"
    "36 22 0:44 / /mnt/vm rw - 9p hostshare rw\n"
    "37 22 8:1 /home /mnt/covered rw - ext4 /dev/sda1 rw\n"
    "38 22 0:45 / /mnt/covered rw - nfs server:/x rw\n"
    "39 22 8:49 / /run/media/me/Disk rw - exfat /dev/sdd1 rw\n"
    "40 22 0:46 / /mnt/windows rw - fuseblk /dev/sde1 rw\n"
    "garbage\n"
    "41 22 8:1 / /cut";

/// Two disks as the system shows them: a fixed one and one that can be taken away, each with a partition.
struct VolumeTest : testing::Test {
  TempFolder folder;

  void SetUp() override {
    addDisk("sda", "0\n", "8:1");
    addDisk("sdc", "1\n", "8:33");
  }
  void addDisk(const std::string& name, std::string_view flag, const std::string& device) const {
    const auto disk = folder.path() / "devices" / name;
    atomicWrite(flag, disk / "removable");
    createDirectories(disk / (name + "1"));
    createDirectories(folder.path() / "block");
    std::filesystem::create_directory_symlink(disk / (name + "1"), folder.path() / "block" / device);
  }
  VolumeKind kind(const char* path, std::string_view mounts = table) const {
    return volumeKind(path, VolumeTables{mounts, folder.path() / "block"});
  }
};

TEST_F(VolumeTest, FileSystemsOfOtherMachinesAreNetworks) {
  for (const auto* path : {"/mnt/share", "/mnt/share/a/b", "/mnt/My Share/x", "/mnt/over/x", "/mnt/vm/x"})
    EXPECT_EQ(kind(path), VolumeKind::network) << path;
}

TEST_F(VolumeTest, FileSystemsOfPrograms) {
  EXPECT_EQ(kind("/mnt/own/x"), VolumeKind::fixed);
  EXPECT_EQ(kind("/mnt/windows/x"), VolumeKind::fixed);
}

TEST_F(VolumeTest, ADeviceThatCanBeTakenAwayIsRemovable) {
  EXPECT_EQ(kind("/srv/usb/x"), VolumeKind::removable);
}

TEST_F(VolumeTest, WhatIsMountedWhereMediaAreIsRemovable) {
  EXPECT_EQ(kind("/media/me/Stick/x"), VolumeKind::removable);
  EXPECT_EQ(kind("/run/media/me/Disk"), VolumeKind::removable);
  EXPECT_EQ(kind("/media/me/other"), VolumeKind::fixed);
}

TEST_F(VolumeTest, TheLaterOfTwoMountsInOnePlaceCounts) {
  EXPECT_EQ(kind("/mnt/covered/x"), VolumeKind::network);
}

TEST_F(VolumeTest, ANameThatBeginsLikeAMountIsNotBelowIt) {
  EXPECT_EQ(kind("/mnt/share2"), VolumeKind::fixed);
}

TEST_F(VolumeTest, WhatCannotBeToldIsFixed) {
  EXPECT_EQ(kind("/home/me"), VolumeKind::fixed);
  EXPECT_EQ(kind("/home/me", ""), VolumeKind::fixed);
  EXPECT_EQ(kind("relative"), VolumeKind::fixed);
  EXPECT_EQ(volumeKind("/proc/nowhere/at/all"), VolumeKind::fixed);
  EXPECT_EQ(volumeKind(""), VolumeKind::fixed);
}

TEST_F(VolumeTest, ThisMachinesOwnTablesAreRead) { EXPECT_EQ(volumeKind("/proc/self"), VolumeKind::fixed); }

}  // namespace
}  // namespace platform::files
