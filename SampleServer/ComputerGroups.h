#pragma once

#include <vector>

#include "SampleServer/Dialect.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/Route.h"

namespace sample {

/// Smart and static groups of computers, as the Pro interface shows them. Both are objects of the Classic
/// section, whose record holds criteria and members. A smart group keeps the members that it has, whatever
/// its criteria say: a new one has none. Any thread may call, but one write at a time.
class ComputerGroups {
 public:
  ComputerGroups(Fleet& fleet, const Dialect& dialect);

  std::vector<Route> routes();

 private:
  enum class Kind { smart, fixed };
  using Handler = std::optional<Answer> (ComputerGroups::*)(Kind kind, const Call& call);

  std::optional<Answer> serveCollection(Kind kind, const Call& call);
  std::optional<Answer> serveObject(Kind kind, const Call& call);
  std::optional<Answer> serveMembership(Kind kind, const Call& call);

  std::vector<std::string> ids(Kind kind) const;
  /// The Classic record of a group; nothing for an unknown id and for one of the other kind.
  std::optional<platform::json::Value> group(Kind kind, std::string_view id) const;
  platform::json::Value summary(Kind kind, const platform::json::Value& group) const;
  platform::json::Value detail(Kind kind, const platform::json::Value& group) const;

  /// The Classic record that a body makes of a group, whose present one is null for a new group.
  platform::json::Value compose(Kind kind, const platform::json::Value& body,
                                const platform::json::Value* present, std::string_view id) const;
  platform::json::Value members(const platform::json::Value& body) const;
  void refuseInUse(std::string_view id) const;

  Fleet& fleet_;
  const Dialect& dialect_;
  const std::size_t groups_;
  const std::size_t computers_;
};

}  // namespace sample
