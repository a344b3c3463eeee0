#pragma once

#include <string_view>
#include <vector>

#include "SampleServer/ClassicBody.h"
#include "SampleServer/Dialect.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/Route.h"

namespace sample {

/// Policies and configuration profiles of computers, which clients write as XML and find by name or category.
/// Any thread may call, but one write at a time.
class ClassicObjects {
 public:
  ClassicObjects(Fleet& fleet, const Dialect& dialect);

  std::vector<Route> routes();

 private:
  struct Kind {
    std::string_view section;
    std::string_view root;
    ClassicBody body;

    std::size_t number() const { return *sectionNumber(section); }
  };

  std::optional<Answer> serveID(const Kind& kind, const Call& call);
  std::optional<Answer> serveName(const Kind& kind, const Call& call);
  std::optional<Answer> serveCategory(const Kind& kind, const Call& call);

  Answer showRecord(const Kind& kind, platform::json::Value record) const;
  Answer written(const Kind& kind, int status, std::string_view id) const;
  /// The record that a request makes of an object, whose present one is null for a new object.
  platform::json::Value compose(const Kind& kind, const Request& request,
                                const platform::json::Value* present, std::string_view id) const;

  Fleet& fleet_;
  const Dialect& dialect_;
  const Kind policies_;
  const Kind profiles_;
};

}  // namespace sample
