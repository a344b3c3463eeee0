#pragma once

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Engine/FileFetch.h"
#include "OrvikCore/Store/AuditLog.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Hex.h"
#include "tests/Support/RunFixture.h"
#include "tests/Support/ScriptedServer.h"

namespace orvik::test {

using support::ScriptedServer;

inline std::string md5Of(const std::string& bytes) {
  platform::Digest digest(platform::DigestAlgorithm::md5);
  digest.update(bytes);
  return platform::hexEncode(digest.finish());
}

inline std::string sha512Of(const std::string& bytes) {
  platform::Digest digest(platform::DigestAlgorithm::sha512);
  digest.update(bytes);
  return platform::hexEncode(digest.finish());
}

/// A package record's members.
struct Package {
  std::string fileName;
  std::string hashType = "";
  std::string hashValue = "";
  std::string size = "";
  std::string name = "";
};

/// A server's packages, and a host that has their files.
struct FileRun : testing::Test, RunFixture {
  bool downloads = true;
  std::optional<std::string> mount;
  std::atomic<int> allowed{1 << 30};  ///< how many files the host hands out before it answers 403

  std::mutex hostMutex;                        // guards what follows
  std::map<std::string, std::string> content;  ///< by target: "/cdn/a.pkg"
  std::vector<std::string> ranges;

  ScriptedServer host{ScriptedServer::answering([this](const support::ReceivedRequest& request) {
    const std::lock_guard lock(hostMutex);
    if (request.header("Authorization")) return support::answer(400);
    if (--allowed < 0) return support::answer(403);
    const auto target = request.target().substr(0, request.target().find('?'));
    const auto found = content.find(target);
    if (found == content.end()) return support::answer(404);
    const auto range = request.header("Range");
    ranges.push_back(range.value_or(""));
    if (!range) return support::answer(200, found->second);
    const auto from = std::stoul(range->substr(6));
    const auto& whole = found->second;
    return support::answer(
        206, whole.substr(from),
        fmt::format("Content-Range: bytes {}-{}/{}\r\n", from, whole.size() - 1, whole.size()));
  })};

  void packages(const std::vector<Package>& list) {
    std::string elements;
    int id = 0;
    for (const auto& each : list) {
      const auto element = fmt::format(
          R"({{"id":"{}","packageName":"{}","fileName":"{}","hashType":"{}","hashValue":"{}","size":"{}"}})",
          ++id, each.name.empty() ? each.fileName : each.name, each.fileName, each.hashType, each.hashValue,
          each.size);
      elements += (elements.empty() ? "" : ",") + element;
      bodies.set("api/v1/packages/" + std::to_string(id), element);
    }
    bodies.set("api/v1/packages", fmt::format(R"({{"totalCount":{},"results":[{}]}})", id, elements));
  }
  /// Puts files on the cloud point.
  void cloud(const std::map<std::string, std::string>& stock) {
    std::string list;
    for (const auto& [name, bytes] : stock) {
      list += fmt::format(R"({}{{"fileName":"{}","length":{},"md5":"{}"}})", list.empty() ? "" : ",", name,
                          bytes.size(), md5Of(bytes));
      bodies.set("api/v1/jcds/files/" + name,
                 fmt::format(R"({{"uri":"{}?Signature=secret"}})", host.url("/cdn/" + name)));
      put("/cdn/" + name, bytes);
    }
    bodies.set("api/v1/jcds/files", "[" + list + "]");
  }
  /// A share that hands files out to anybody at "/share".
  void share() {
    bodies.set("JSSResource/distributionpoints", R"({"distribution_points":[{"id":1,"name":"Library"}]})");
    bodies.set("JSSResource/distributionpoints/id/1",
               fmt::format(R"({{"distribution_point":{{"id":1,"name":"Library","http_downloads_enabled":true,
                   "no_authentication_required":true,"http_url":"{}"}}}})",
                           host.url("/share")));
  }
  void put(const std::string& target, const std::string& bytes) {
    const std::lock_guard lock(hostMutex);
    content[target] = bytes;
  }

  BackupJob fileJob() const {
    auto made = job({"packages", "jcdsFiles", "distributionPoints", "packageFiles"});
    made.options.downloadFiles = downloads;
    made.options.fileShareMountPath = mount;
    made.downloadRetryPolicy = {2, 0.001, 0.002};
    return made;
  }
  BackupManifest runFiles(const std::stop_token& stop = {}) {
    return BackupEngine(fileJob()).run(ResumeInterrupted::yes, onEvent(), stop);
  }
  std::vector<IndexItem> items(const BackupManifest& manifest) const {
    return index(manifest, "packageFiles").items;
  }
  FileRef only(const BackupManifest& manifest) const { return items(manifest).at(0).file.value(); }
  std::filesystem::path part(const std::string& fileName) const {
    return repository().store().downloadsDirectory() / FileFetch::partName(fileName);
  }
  std::vector<AuditEntry> downloadLines(const BackupManifest& manifest) const {
    auto lines = AuditLog::read(repository().backupDirectory(manifest.backupID));
    std::erase_if(lines, [](const AuditEntry& line) { return line.kind != AuditEntry::Kind::download; });
    return lines;
  }
};

}  // namespace orvik::test
