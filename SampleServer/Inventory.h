#pragma once

#include <string>
#include <vector>

#include "SampleServer/Dialect.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/Route.h"

namespace sample {

/// Computers as an administrator's client asks for them: searched, in chosen sections, named, deleted, with
/// the policies that they ran. Any thread may call, but one write at a time.
class Inventory {
 public:
  Inventory(Fleet& fleet, const Dialect& dialect);

  std::vector<Route> routes();

 private:
  /// Keys of the sections that a request asks for; empty when it asks for none. Throws `Refusal` for an
  /// unknown one.
  static std::vector<std::string> sectionsOf(const Request& request);

  std::optional<Answer> serveList(const Call& call);
  std::optional<Answer> serveComputer(const Call& call);
  std::optional<Answer> serveDetail(const Call& call);
  std::optional<Answer> servePolicyLogs(const Call& call);

  /// Leaves null what stands in no section of those, and names the members as servers of this dialect do.
  void show(platform::json::Value& computer, const std::vector<std::string>& sections) const;
  platform::json::Value policyLogs(const std::string& id) const;

  Fleet& fleet_;
  const Dialect& dialect_;
  const std::size_t computers_;
};

}  // namespace sample
