#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <atomic>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "OrvikCore/Engine/FileFetch.h"
#include "Platform/Files/FaultSeam.h"
#include "tests/Support/FileFaults.h"

namespace orvik {
namespace {

namespace files = platform::files;
using sample::FaultCut;
using test::FileFaults;
using testing::Contains;
using testing::HasSubstr;
using testing::SizeIs;
using Status = FileRef::Status;

TEST_F(FileFaults, AConnectionCutAnywhereIsTakenUpAgain) {
  using enum FaultCut::Ending;
  using enum FaultCut::From;
  int number = 0;
  for (const auto ending : {close, reset})
    for (const auto& [after, from] : {std::pair{0u, start}, {20u, start}, {150'000u, body}, {1u, end}})
      spoil("cdn/" + add(fmt::format("cut {}.pkg", ++number)) + "*", FaultCut{after, ending, from});
  const auto manifest = backup();
  for (; number > 0; --number) expectWhole(manifest, fmt::format("cut {}.pkg", number));
  EXPECT_THAT(rangesAskedFor(), Contains("bytes=150000-"));
  expectNothingInProgress();
  expectNowhere("Signature=");
}

TEST_F(FileFaults, AServerWithoutRangesSendsAllAgain) {
  add("a.pkg");
  run.server.setRangeServed(false);
  spoil("cdn/a.pkg*", FaultCut{150'000, FaultCut::Ending::close, FaultCut::From::body});
  expectWhole(backup(), "a.pkg");
  EXPECT_THAT(rangesAskedFor(), SizeIs(1));
}

TEST_F(FileFaults, AWrongContentRangeIsNotJoined) {
  const std::vector<std::optional<std::string>> wrong{"bytes 7-299999/300000",
                                                      "bytes 150000-299999/300001",
                                                      "bytes 150000-299999/150000",
                                                      "bytes */300000",
                                                      "nonsense",
                                                      std::nullopt};
  for (std::size_t i = 0; i < wrong.size(); ++i) {
    const auto name = add(fmt::format("{}.pkg", i));
    spoil("cdn/" + name + "*", FaultCut{150'000, FaultCut::Ending::close, FaultCut::From::body});
    spoil("cdn/" + name + "*", sample::FaultHeader{"Content-Range", wrong[i]});
  }
  const auto manifest = backup();
  for (std::size_t i = 0; i < wrong.size(); ++i) expectWhole(manifest, fmt::format("{}.pkg", i));
}

TEST_F(FileFaults, BodiesOfAnotherLengthThanAnnouncedEndWhole) {
  spoil("cdn/" + add("shorter.pkg") + "*", sample::FaultLength{-100});
  spoil("cdn/" + add("longer.pkg") + "*", sample::FaultLength{100});
  const auto manifest = backup();
  expectWhole(manifest, "shorter.pkg");
  expectWhole(manifest, "longer.pkg");
}

TEST_F(FileFaults, AFileThatChangesInTheMiddleIsTheNewOne) {
  add("a.pkg");
  spoil("cdn/a.pkg*", FaultCut{150'000, FaultCut::Ending::close, FaultCut::From::body});
  std::atomic<bool> changed = false;
  run.server.setRequestHook([&](std::uint64_t) {
    if (run.server.log().count("cdn/a.pkg") == 2 && !changed.exchange(true))
      run.server.changePackageFile("a.pkg");
  });
  const auto file = filesOf(backup()).at("a.pkg");
  EXPECT_TRUE(changed);
  EXPECT_EQ(file.status, Status::downloaded);
  EXPECT_EQ(file.sha256, run.server.packageSHA256("a.pkg"));
  EXPECT_EQ(file.jamfHashVerified, false);  // the record is of the file before
}

TEST_F(FileFaults, RedirectsAreFollowedToHTTPAlone) {
  add("a.pkg", 1000, true, true);
  add("b.pkg", 1000, true, false);
  spoil("cdn/a.pkg*",
        sample::FaultAnswer{302, {{"Location", run.server.url() + "/JamfShare/Packages/a.pkg"}}});
  spoil("cdn/b.pkg*",
        sample::FaultAnswer{302, {{"Location", "file:///etc/passwd?Signature=of-the-redirect"}}}, {});
  const auto manifest = backup();
  expectWhole(manifest, "a.pkg");
  const auto b = filesOf(manifest).at("b.pkg");
  EXPECT_EQ(b.status, Status::failed);
  expectNowhere("Signature=");
}

TEST_F(FileFaults, AnAddressThatIsNoneIsTriedNoFurtherAndTheShareHasTheFile) {
  add("a.pkg", 1000, true, true);
  for (const char* uri : {"", "nonsense?Signature=s", "file:///etc/passwd?Signature=s", "https://",
                          "ftp://h/?Signature=s", "http://user:Signature=s@:99999/"}) {
    run.server.setSignedURI(uri);
    run.server.changePackageFile("a.pkg");
    const auto manifest = backup();
    expectWhole(manifest, "a.pkg");
  }
  expectNowhere("Signature=");
}

TEST_F(FileFaults, FileNamesThatNeedCare) {
  std::string longName;
  while (longName.size() < 249) longName += "\u00e9";
  longName += "a.pkg";
  const std::vector<std::string> names{
      "100% sure.pkg", "a b+c&d=e?f#g;h.pkg", "Case.pkg",        "case.pkg",
      longName,        "%2e%2e%2fx.pkg",      "back\\slash.pkg", "\"quoted\".pkg"};
  for (const auto& name : names) add(name, 5000 + static_cast<std::int64_t>(name.size()), true, true);
  for (const auto* name : {"a/b.pkg", "../c.pkg"}) add(name, 500, true, true);
  add("..", 500, true, true);
  const auto manifest = backup();
  for (const auto& name : names) expectWhole(manifest, name);
  const auto found = filesOf(manifest);
  for (const auto* name : {"a/b.pkg", "../c.pkg"})
    EXPECT_EQ(found.at(name).sha256, run.server.packageSHA256(name));
  EXPECT_EQ(found.at("..").status, Status::failed);
  EXPECT_NE(found.at("Case.pkg").sha256, found.at("case.pkg").sha256);
  expectNothingInProgress();
}

TEST_F(FileFaults, BytesOfTheCloudAndOfTheShareAreNotJoined) {
  add("a.pkg", 300'000, true, true);
  spoil("cdn/a.pkg*", FaultCut{150'000, FaultCut::Ending::close, FaultCut::From::body}, 1);
  spoil("cdn/a.pkg*", FaultCut{0, FaultCut::Ending::close, FaultCut::From::start}, {});
  const auto manifest = backup();
  expectWhole(manifest, "a.pkg");
  EXPECT_NE(filesOf(manifest).at("a.pkg").source, "jcds");
}

TEST_F(FileFaults, AMountThatVanishedIsASentence) {
  add("a.pkg", 1000, false, false);
  mount = (run.folder.path() / "gone").string();
  const auto file = filesOf(backup()).at("a.pkg");
  EXPECT_EQ(file.status, Status::failed);
  EXPECT_EQ(file.message, "File not found on the distribution point (HTTP 404)");
}

TEST_F(FileFaults, AFullDiskInTheMiddleKeepsThePartAndSaysSo) {
  add("a.pkg", 8'000'000);
  std::atomic<bool> armed = false;
  onEvent = [&](const BackupEvent& event) {
    const auto* bytes = std::get_if<BackupEvents::BytesTransferred>(&event);
    if (bytes && bytes->bytes > 2'000'000 && !armed.exchange(true))
      files::armFaultSeam(1, files::FaultAction::fail, ENOSPC);
  };
  const auto manifest = backup();
  files::disarmFaultSeam();
  const auto file = filesOf(manifest).at("a.pkg");
  EXPECT_EQ(file.status, Status::failed);
  EXPECT_THAT(file.message.value_or(""), HasSubstr("No space left"));
  const auto part = run.repository().store().downloadsDirectory() / FileFetch::partName("a.pkg");
  EXPECT_GT(files::size(part).value_or(0), 2'000'000);

  onEvent = {};
  const auto second = backup();
  expectWhole(second, "a.pkg");
  EXPECT_LT(second.totals.bytesDownloaded, 6'000'000);
  expectNothingInProgress();
}

TEST_F(FileFaults, ADiskThatStaysFullStopsTheRunWhichIsTakenUp) {
  add("a.pkg", 8'000'000);
  std::atomic<bool> armed = false;
  onEvent = [&](const BackupEvent& event) {
    const auto* bytes = std::get_if<BackupEvents::BytesTransferred>(&event);
    if (bytes && bytes->bytes > 2'000'000 && !armed.exchange(true))
      files::armFaultSeam(1, files::FaultAction::failFromThen, ENOSPC);
  };
  EXPECT_THROW(backup(), std::exception);
  files::disarmFaultSeam();
  onEvent = {};
  const auto second = backup();
  expectWhole(second, "a.pkg");
  EXPECT_LT(second.totals.bytesDownloaded, 6'000'000);
  expectNothingInProgress();
}

TEST_F(FileFaults, APauseInTheMiddleGoesOnFromThere) {
  add("a.pkg", 8'000'000);
  BackupEngine engine(job());
  std::atomic<bool> paused = false;
  std::jthread resumer;
  // The pause has been noticed when the bytes so far are flushed: the next operation on the disk.
  files::armFaultSeam(UINT64_MAX, files::FaultAction::fail);
  const auto manifest = engine.run(ResumeInterrupted::yes, [&](const BackupEvent& event) {
    const auto* bytes = std::get_if<BackupEvents::BytesTransferred>(&event);
    if (!bytes || bytes->bytes < 2'000'000 || paused.exchange(true)) return;
    engine.pause();
    resumer = std::jthread([&engine, before = files::operationsSinceArmed()] {
      while (files::operationsSinceArmed() == before) std::this_thread::yield();
      engine.resume();
    });
  });
  files::disarmFaultSeam();
  expectWhole(manifest, "a.pkg");
  EXPECT_EQ(manifest.totals.bytesDownloaded, 8'000'000);
  EXPECT_THAT(rangesAskedFor(), SizeIs(1));
}

TEST_F(FileFaults, WhatIsNoFileOnAMountIsASentence) {
  add("fifo.pkg", 1000, false, false);
  add("folder.pkg", 1000, false, false);
  mount = (run.folder.path() / "mount").string();
  const auto packages = std::filesystem::path(*mount) / "Packages";
  files::createDirectories(packages / "folder.pkg");
  ASSERT_EQ(::mkfifo((packages / "fifo.pkg").c_str(), 0600), 0);
  for (const auto& [name, file] : filesOf(backup())) {
    EXPECT_EQ(file.status, Status::failed) << name;
    EXPECT_THAT(file.message.value_or(""), HasSubstr(name));
  }
}

TEST_F(FileFaults, SizesThatNoFileHasDoNotAddUp) {
  const auto bytesToDownload = [&](const std::string& size) {
    auto made = job();
    const files::TempFolder folder;
    made.simulationDirectory = folder.path();
    std::string elements;
    for (int i = 0; i < 1200; ++i)
      elements +=
          fmt::format(R"({}{{"id":"{}","fileName":"{}.pkg","size":"{}"}})", i == 0 ? "" : ",", i, i, size);
    run.server.faults().clear();
    spoil("api/v1/packages", sample::FaultAnswer{200, {}, "[" + elements + "]"}, {});
    const auto result = BackupEngine(made).simulate({});
    EXPECT_EQ(result.manifest.totals.files, 1200);
    return result.bytesToDownload;
  };
  constexpr std::int64_t tebibyte = std::int64_t{1} << 40;
  EXPECT_EQ(bytesToDownload(std::to_string(tebibyte)), 1200 * tebibyte);
  for (const char* size : {"9007199254740992", "9223372036854775807", "99999999999999999999", "-5", "1e99"})
    EXPECT_EQ(bytesToDownload(size), 0) << size;
}

}  // namespace
}  // namespace orvik
