#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"
#include "tests/Support/ServerRun.h"
#include "tests/Support/SmallBackups.h"

namespace orvik::test {

namespace files = platform::files;

/// Package files of a server that misbehaves, through whole runs.
struct FileFaults : testing::Test {
  ServerRun run{{.log = sample::LogDetail::all}};
  const platform::UUID instanceID = platform::UUID::random();
  std::optional<std::string> mount;
  std::optional<std::filesystem::path> staging;
  double baseDelay = 0.001;
  std::vector<BackupEvent> events;
  std::mutex eventsMutex;  // guards events
  std::function<void(const BackupEvent&)> onEvent;

  /// Of the packages that the server has from the beginning, none is of interest.
  FileFaults() {
    for (const auto& id : run.server.ids("packages")) run.server.remove("packages", id);
  }

  BackupJob job() {
    auto made = run.job();
    for (const auto& row : SectionCatalog::all()) made.options.disabledSections.insert(std::string(row.id));
    for (const char* id : {"packages", "jcdsFiles", "distributionPoints", "packageFiles"})
      made.options.disabledSections.erase(id);
    made.options.maxRequestsPerSecond = 0;
    made.options.downloadFiles = true;
    made.options.fileShareMountPath = mount;
    made.instance.id = instanceID;
    made.stagingDirectory = staging;
    made.downloadRetryPolicy = {3, baseDelay, 60};
    return made;
  }
  BackupManifest backup(const std::stop_token& stop = {}) { return backup(job(), stop); }
  BackupManifest backup(BackupJob made, const std::stop_token& stop = {}) {
    const auto manifest = BackupEngine(std::move(made))
                              .run(
                                  ResumeInterrupted::yes,
                                  [this](const BackupEvent& event) {
                                    {
                                      const std::lock_guard lock(eventsMutex);
                                      events.push_back(event);
                                    }
                                    if (onEvent) onEvent(event);
                                  },
                                  stop);
    EXPECT_EQ(problemsOf(run.repository(), manifest.backupID), 0u);
    return manifest;
  }

  std::string add(const std::string& name, std::int64_t size = 300'000, bool onCloud = true,
                  bool onShare = false) {
    run.server.addPackage({.fileName = name, .size = size, .onCloud = onCloud, .onShare = onShare});
    return name;
  }
  void spoil(const std::string& path, sample::FaultAction action, std::optional<int> times = 1) {
    run.server.faults().add({.path = path, .times = times, .action = std::move(action)});
  }

  std::map<std::string, FileRef> filesOf(const BackupManifest& manifest) const {
    std::map<std::string, FileRef> found;
    const auto folder = run.repository().backupDirectory(manifest.backupID);
    const auto index = BackupRepository::loadIndex(folder, "packageFiles", std::nullopt);
    if (index) {
      EXPECT_THAT(index->errors, testing::IsEmpty());
      for (const auto& item : index->items) found[item.id] = item.file.value();
    }
    return found;
  }
  /// That the file is there and is the server's present one.
  void expectWhole(const BackupManifest& manifest, const std::string& name) const {
    const auto found = filesOf(manifest);
    ASSERT_TRUE(found.contains(name)) << name;
    const auto& file = found.at(name);
    EXPECT_EQ(file.status, FileRef::Status::downloaded) << name << ": " << file.message.value_or("");
    EXPECT_EQ(file.sha256, run.server.packageSHA256(name)) << name;
    EXPECT_EQ(file.jamfHashVerified, true) << name;
  }
  void expectNothingInProgress() const {
    EXPECT_THAT(files::visibleNames(run.repository().store().downloadsDirectory()), testing::IsEmpty());
    EXPECT_FALSE(files::exists(run.repository().instanceDirectory / BackupFormat::lockFile));
  }
  /// In no file of the folder, in no event.
  void expectNowhere(const std::string& text) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(run.folder.path())) {
      if (!entry.is_regular_file() || entry.file_size() > 100'000) continue;
      EXPECT_THAT(files::read(entry.path()), testing::Not(testing::HasSubstr(text))) << entry.path();
    }
    const std::lock_guard lock(eventsMutex);
    for (const auto& event : events) {
      const auto* note = std::get_if<BackupEvents::Note>(&event);
      EXPECT_THAT(note ? note->text : "", testing::Not(testing::HasSubstr(text)));
    }
  }
  std::vector<std::string> rangesAskedFor() {
    std::vector<std::string> all;
    for (const auto& request : run.server.log().entries())
      if (!request.range.empty()) all.push_back(request.range);
    return all;
  }
};

}  // namespace orvik::test
