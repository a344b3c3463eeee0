#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "SampleServer/Fleet.h"
#include "SampleServer/FleetSize.h"
#include "SampleServer/RequestLog.h"
#include "SampleServer/TokenDesk.h"

namespace sample {

/// How a sample server is to behave. Every field has a default that makes a plain, willing server.
struct SampleOptions {
  FleetSize size = FleetSize::small;
  std::uint64_t seed = 1;
  std::uint16_t port = 0;  ///< 0 takes a free one

  /// Empty: made from the seed.
  std::string clientID = {};
  std::string clientSecret = {};
  /// The answer says one second less.
  std::chrono::seconds tokenLifetime{1200};
  /// What tokens age by.
  Clock clock = [] { return platform::MonotonicClock::now(); };

  /// Whether api/v1/auth tells the privileges.
  bool privilegesInAuth = true;
  /// Those that it tells.
  std::vector<std::string> privileges = {"Read Scripts", "Read Computers", "Read Packages", "Read Policies"};
  /// Sections that answer with this status alone: 401, 403 or 404.
  std::map<std::string, int> refusedSections = {};
  /// Paged sections whose answers lack `totalCount`.
  std::set<std::string> withoutTotalCount = {};
  /// Classic sections with another list than the usual.
  std::map<std::string, ListShape> listShapes = {};

  LogDetail log = LogDetail::paths;
};

}  // namespace sample
