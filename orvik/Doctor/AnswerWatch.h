#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <string>

#include "JamfCore/Networking/Endpoint.h"
#include "Platform/Date.h"
#include "Platform/HTTP/HTTPSession.h"
#include "TuvCore/Locked.h"

namespace orvik::host {

/// What a server announced about a path.
struct Deprecation {
  std::string since;                 ///< as the server wrote it
  std::optional<std::string> until;  ///< when the path ends, likewise
};

/// Gathers what the heads of a server's answers say. Any thread may call.
class AnswerWatch {
 public:
  void see(const jamf::Endpoint& endpoint, const platform::HTTPResponse& answer);

  /// By how much the server's clock is ahead of this machine's: the smallest difference of all answers, since
  /// the time that an answer is under way counts too. Nothing when no answer told the time.
  std::optional<std::chrono::seconds> clockDifference() const;
  /// What the answers from that path announced (RFC 9745, RFC 8594).
  std::optional<Deprecation> deprecationOf(const std::string& path) const;

 private:
  struct Seen {
    std::optional<std::chrono::seconds> clockDifference;
    std::map<std::string, Deprecation> deprecations;  ///< by path
  };

  tuv::Locked<Seen> seen_;
};

}  // namespace orvik::host
