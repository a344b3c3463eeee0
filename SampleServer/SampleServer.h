#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "SampleServer/FaultRules.h"
#include "SampleServer/RequestLog.h"
#include "SampleServer/SampleOptions.h"

namespace sample {

/// A small device management server with a made-up fleet, on a real socket of this machine.
///
/// It serves OAuth tokens, and every section that a backup reads, in the shapes of real servers. The fleet is
/// generated, so a server of 50,000 objects is as light as an empty one. One thread accepts, one serves each
/// connection. Any thread may call, besides `start` and `stop`, which are for the owner.
class SampleServer {
 public:
  /// Called with the running number of a request before it is answered, on the thread of its connection.
  using RequestHook = std::function<void(std::uint64_t number)>;

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
  /// The ids of a section's objects, in the order of its list. Empty for an unknown section.
  std::vector<std::string> ids(std::string_view section) const;
  /// Objects of all sections beside the devices.
  std::size_t objectCount() const;

  /// Lets a section answer with that status alone; 0 lets it answer again. False for an unknown section, here
  /// and below.
  bool refuseSection(std::string_view section, int status);
  bool setListShape(std::string_view section, ListShape shape);
  bool setTotalCount(std::string_view section, bool shown);
  void setPrivilegesInAuth(bool shown);

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
