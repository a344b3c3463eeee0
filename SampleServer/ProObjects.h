#pragma once

#include <vector>

#include "SampleServer/Dialect.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/Route.h"

namespace sample {

/// Categories, scripts, packages and computer extension attributes: objects of the Pro interface that are one
/// flat record. Any thread may call, but one write at a time.
class ProObjects {
 public:
  ProObjects(Fleet& fleet, const Dialect& dialect) : fleet_(fleet), dialect_(dialect) {}

  std::vector<Route> routes();

  struct Kind;

 private:
  std::optional<Answer> serveCollection(const Kind& kind, const Call& call);
  std::optional<Answer> serveObject(const Kind& kind, const Call& call);

  /// The record that a body makes of an object, whose present one is null for a new object.
  platform::json::Value compose(const Kind& kind, const platform::json::Value& body,
                                const platform::json::Value* present) const;
  void settleCategory(const platform::json::Value& body, const platform::json::Value* present,
                      platform::json::Value& made) const;
  void refuseDuplicate(const Kind& kind, const platform::json::Value& object, std::string_view id) const;
  /// The object as the Pro interface shows it; nothing for an unknown id.
  std::optional<platform::json::Value> object(const Kind& kind, std::string_view id) const;

  Fleet& fleet_;
  const Dialect& dialect_;
};

}  // namespace sample
