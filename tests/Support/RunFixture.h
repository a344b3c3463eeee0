#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Engine/BackupEngine.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Files/Files.h"
#include "tests/Support/ScriptedReader.h"
#include "tests/Support/TestKeys.h"

namespace orvik::test {

/// Bodies by path; a path that is not there is a 404, as on a server.
class Bodies {
 public:
  void set(const std::string& path, std::string body) {
    std::lock_guard lock(mutex_);
    bodies_[path] = std::move(body);
  }
  void fail(const std::string& path, std::int64_t status) {
    std::lock_guard lock(mutex_);
    failures_[path] = status;
  }
  void heal(const std::string& path) {
    std::lock_guard lock(mutex_);
    failures_.erase(path);
  }
  platform::Bytes answer(const std::string& path) const {
    std::lock_guard lock(mutex_);
    if (const auto failure = failures_.find(path); failure != failures_.end())
      throw jamf::APIError::requestFailed(failure->second, {});
    const auto body = bodies_.find(path);
    if (body == bodies_.end()) throw jamf::APIError::requestFailed(404, {});
    return body->second;
  }

  /// A Classic section of so many objects, named "<key> <id>".
  void classicSection(const std::string& list, const std::string& key, int count) {
    std::string body = "{\"" + key + "\":[";
    for (int id = 1; id <= count; ++id) {
      const auto object =
          "{\"id\":" + std::to_string(id) + ",\"name\":\"" + key + " " + std::to_string(id) + "\"}";
      body += (id == 1 ? "" : ",") + object;
      set("JSSResource/" + list + "/id/" + std::to_string(id), object);
    }
    set("JSSResource/" + list, body + "]}");
  }

 private:
  mutable std::mutex mutex_;  // guards what follows
  std::map<std::string, std::string> bodies_;
  std::map<std::string, std::int64_t> failures_;
};

/// A folder, a scripted server with a version and privileges, and what a run told. Sections are left out but
/// those that a test names.
struct RunFixture {
  platform::files::TempFolder folder;
  Bodies bodies;
  std::shared_ptr<ScriptedReader> reader =
      std::make_shared<ScriptedReader>([this](const ScriptedReader::Call& call, const std::stop_token& stop) {
        if (onCall) onCall(call, stop);
        return bodies.answer(call.path);
      });
  std::function<void(const ScriptedReader::Call&, const std::stop_token&)> onCall;
  std::vector<BackupEvent> events;
  std::mutex eventsMutex;  // guards events
  bool seals = false;      ///< runs seal for the test's organisation key
  bool packs = false;      ///< runs end with a pack, as a job says unless told otherwise

  RunFixture() {
    bodies.set("api/v1/jamf-pro-version", R"({"version":"11.30.1-t1"})");
    bodies.set("api/v1/auth", R"({"account":{"privileges":["Read Users","Read Policies"]}})");
  }

  platform::files::Path root() const { return folder.path() / "server.example"; }
  BackupRepository repository() const { return BackupRepository(root()); }

  /// The key alone opens what is on the disk; nothing that the process remembers helps.
  void unlockAfresh() const {
    BackupEncryption::forgetKeys();
    if (BackupEncryption::isEncrypted(root())) BackupEncryption::unlock(root(), organisationKeys());
  }

  BackupJob job(const std::set<std::string>& sections) const {
    BackupJob job;
    job.instance = {*platform::UUID::parse("5D0DA0B4-4E2B-5F4C-9A0C-0123456789AB"), "Test",
                    "https://server.example", "server.example", "client"};
    job.client = reader;
    for (const auto& row : SectionCatalog::all())
      if (!sections.contains(std::string(row.id))) job.options.disabledSections.insert(std::string(row.id));
    job.options.maxConcurrentRequests = 4;
    job.options.maxConcurrentDownloads = 2;
    job.root = root();
    job.orvikVersion = "test";
    job.retryPolicy = {2, 0.001, 0.002};
    job.packLooseObjects = packs;
    job.encrypt = seals;
    if (seals) job.encryptionKeys = std::make_shared<InMemoryKeyProvider>(organisationKeys());
    return job;
  }

  std::vector<std::string> folderNames() const {
    return platform::files::visibleNames(repository().backupsDirectory());
  }

  /// Stops a run when it asks for `path`.
  void stopAt(std::string path, std::stop_source& stop) {
    onCall = [path = std::move(path), &stop](const auto& call, auto&) {
      if (call.path == path) stop.request_stop();
    };
  }

  OnBackupEvent onEvent() {
    return [this](const BackupEvent& event) {
      std::lock_guard lock(eventsMutex);
      events.push_back(event);
    };
  }

  BackupManifest run(const std::set<std::string>& sections, ResumeInterrupted resume = ResumeInterrupted::yes,
                     const std::stop_token& stop = {}) {
    return BackupEngine(job(sections)).run(resume, onEvent(), stop);
  }

  template <class Event>
  std::vector<Event> eventsOf() {
    std::lock_guard lock(eventsMutex);
    std::vector<Event> found;
    for (const auto& event : events)
      if (const auto* match = std::get_if<Event>(&event)) found.push_back(*match);
    return found;
  }

  SectionIndex index(const BackupManifest& manifest, const std::string& section) const {
    return repository().index(manifest.backupID, section).value();
  }

  static SectionSummary summary(const BackupManifest& manifest, const std::string& section) {
    for (const auto& each : manifest.sections)
      if (each.id == section) return each;
    return {};
  }
};

}  // namespace orvik::test
