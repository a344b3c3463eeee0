#pragma once

#include <sys/types.h>

#include <cstdio>
#include <string>

#include "SampleServer/FleetSize.h"

namespace bench {

/// A sample server in a process of its own, so that its work does not count as the client's. Ended when it
/// goes. Make it before the first thread of the program.
class ServerProcess {
 public:
  explicit ServerProcess(sample::FleetSize size);
  ~ServerProcess();
  ServerProcess(const ServerProcess&) = delete;
  ServerProcess& operator=(const ServerProcess&) = delete;

  const std::string& url() const { return url_; }
  const std::string& clientID() const { return clientID_; }
  const std::string& clientSecret() const { return clientSecret_; }

  /// Every answer takes at least that long.
  void setDelay(long microseconds) { command('d', microseconds); }
  /// Changes that many objects.
  void mutate(long count) { command('m', count); }

 private:
  void command(char what, long value);

  pid_t child_ = 0;
  std::FILE* toChild_ = nullptr;
  std::FILE* fromChild_ = nullptr;
  std::string url_, clientID_, clientSecret_;
};

}  // namespace bench
