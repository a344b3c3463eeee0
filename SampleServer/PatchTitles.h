#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "SampleServer/Dialect.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/Route.h"

namespace sample {

/// Patch titles in both versions of their paths, with how far the computers follow them. Which computer has
/// which version is made up, and stays. Any thread may call.
class PatchTitles {
 public:
  PatchTitles(const Fleet& fleet, const Dialect& dialect);

  std::vector<Route> routes();

 private:
  enum class Follows { no, unknown, older, latest };

  std::optional<Answer> serveList(const Call& call);
  std::optional<Answer> serveTitle(const Call& call);
  std::optional<Answer> serveSummary(const Call& call);
  std::optional<Answer> serveReport(const Call& call);

  /// The record of the title that a path names. Throws `Refusal` for an unknown one.
  platform::json::Value title(const Call& call) const;
  Follows follows(std::string_view title, std::string_view computer) const;
  std::string versionOf(Follows follows, const platform::json::Value& title) const;

  const Fleet& fleet_;
  const Dialect& dialect_;
  const std::size_t titles_;
  const std::size_t computers_;
};

}  // namespace sample
