#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SampleServer/Dialect.h"
#include "SampleServer/FaultRules.h"
#include "SampleServer/PackageShelf.h"
#include "SampleServer/RequestLog.h"
#include "SampleServer/SampleOptions.h"

namespace sample {

/// A small device management server with a made-up fleet, on a real socket of this machine.
///
/// It serves OAuth tokens, every section that a backup reads, in the shapes of real servers, and the
/// packages' files: with a signed URL from "/cdn/", and to anybody from "/JamfShare/Packages/", a
/// distribution point. It takes the writes of an administrator's client: categories, scripts, packages and
/// their files, computer extension attributes, groups of computers, policies, configuration profiles and the
/// computers themselves; what was written is held, and shows in every list and record. The rest of the fleet
/// and its files are generated, so a server of 50,000 objects is as light as an empty one. One thread
/// accepts, one serves each connection. Any thread may call, besides `start` and `stop`, which are for the
/// owner.
class SampleServer {
 public:
  /// Called with the running number of a request before it is answered, on the thread of its connection.
  using RequestHook = std::function<void(std::uint64_t number)>;
  using PackageFile = sample::PackageFile;
  using NewPackage = sample::NewPackage;

  /// Makes the fleet and starts. Throws `platform::Error` when the port can't be had.
  explicit SampleServer(SampleOptions options = {});
  /// Stops.
  ~SampleServer();
  SampleServer(const SampleServer&) = delete;
  SampleServer& operator=(const SampleServer&) = delete;

  /// Serves again on the port that it had. Nothing happens when it is running.
  void start();
  /// Refuses connections, cuts those that are open, ends what hangs or is delayed, and joins every thread.
  /// The fleet with its changes, tokens, rules and log stay.
  void stop() noexcept;

  /// "http://127.0.0.1:49152", without a slash at its end.
  std::string url() const;
  std::uint16_t port() const;
  const std::string& clientID() const;
  const std::string& clientSecret() const;

  /// Makes all tokens worthless, as a restart of a server does.
  void revokeTokens();
  void setTokenLifetime(std::chrono::seconds lifetime);

  /// Objects are named as a backup names them: a section's id, and the id in its list, "settings" for a
  /// single object, "user:12" and "group:2" among the accounts. False or nothing for what there is not.
  bool change(std::string_view section, std::string_view id);
  bool remove(std::string_view section, std::string_view id);
  bool rename(std::string_view section, std::string_view id, std::string name);
  /// The new object's id. A new account is a user.
  std::optional<std::string> add(std::string_view section);
  /// Changes, adds, renames and removes `count` objects of several sections, the same ones for the same seed
  /// and fleet. A sentence for each.
  std::vector<std::string> mutate(std::size_t count, std::uint64_t seed);
  /// Sets the inventory date of a device ("computers" or "mobileDevices") in its list and its records, where
  /// nothing else changes; nothing takes it from them. `change` and `refresh` give it a date of its own
  /// again.
  bool setInventoryDate(std::string_view section, std::string_view id, std::optional<std::string> date);
  /// Moves a device's inventory date and nothing else. Its records hold that date too, so they differ in it;
  /// `change` gives it a later system besides.
  bool refresh(std::string_view section, std::string_view id);
  /// The ids of a section's objects, in the order of its list. Empty for an unknown section.
  std::vector<std::string> ids(std::string_view section) const;
  /// An object's record as a backup reads it; nothing for an unknown object.
  std::optional<std::string> record(std::string_view section, std::string_view id) const;
  /// Objects of all sections beside the devices.
  std::size_t objectCount() const;

  /// The files that packages name, each once, in the order of the packages.
  std::vector<PackageFile> packageFiles() const;
  /// Writes a file's present content, in place of what is there. Throws `platform::Error` for an unknown file
  /// name, here and below, and `FileError`.
  void writePackageFile(const std::string& fileName, const std::filesystem::path& to) const;
  /// Of the present content, as lower-case hexadecimal text.
  std::string packageSHA256(const std::string& fileName) const;
  /// The id of the new package.
  std::string addPackage(const NewPackage& package);
  /// Gives a file other bytes, so many as before, and with them other digests and another ETag. False for an
  /// unknown one.
  bool changePackageFile(const std::string& fileName);
  /// Makes the file share as a mount would show it: "<mount>/Packages/" with the files that lie on it. Those
  /// whose names are none for a file (with a slash, "." and "..", too long) are left out.
  void writeShareFolder(const std::filesystem::path& mount) const;

  /// Of signed URLs handed out from now on, in whole seconds; 0 makes URLs that have expired.
  void setPresignedLifetime(std::chrono::seconds lifetime);
  /// Makes all signed URLs so far worthless.
  void expirePresignedURLs();
  /// What stands ahead of "/cdn/..." in signed URLs; an empty text for this server.
  void setSignedHost(std::string base);
  /// What is handed out as a URL whatever file is asked for; an empty text leaves the member `uri` out,
  /// nothing makes real URLs again.
  void setSignedURI(std::optional<std::string> whole);
  /// Without it a request for a range is answered with status 200 and everything. For files of the cloud and
  /// of the share, here and below.
  void setRangeServed(bool served);
  void setDownloadValidators(bool etag, bool lastModified);
  /// The speed of each download; 0 for no limit. Counts for running ones too.
  void setDownloadRate(std::int64_t bytesPerSecond);

  /// Lets a section answer with that status alone; 0 lets it answer again. False for an unknown section, here
  /// and below.
  bool refuseSection(std::string_view section, int status);
  bool setListShape(std::string_view section, ListShape shape);
  bool setTotalCount(std::string_view section, bool shown);
  void setPrivilegesInAuth(bool shown);
  /// Without it api/v2/mobile-devices/detail is not found; the records of the devices still are.
  void setMobileDetailList(bool served);
  /// Lets the Classic records of computers and mobile devices answer with that status alone: 401, with the
  /// HTML page of old servers, 403 or 404. 0 serves them again.
  void refuseClassicDevices(int status);

  /// Where this server is to answer as those of another release do.
  Dialect& dialect();
  /// How packages tell the size of their files.
  void setPackageSizeShape(PackageSizeShape shape);

  /// What goes wrong on purpose.
  FaultRules& faults();
  /// Every answer, counted from the arrival of its request, takes at least that long.
  void setDelay(std::chrono::microseconds delay);
  /// An empty one ends the calls.
  void setRequestHook(RequestHook hook);

  /// What was asked.
  RequestLog& log();
  int inFlight() const;
  int maxInFlight() const;

 private:
  class Core;
  std::unique_ptr<Core> core_;
};

}  // namespace sample
