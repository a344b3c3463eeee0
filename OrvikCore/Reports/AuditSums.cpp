#include "OrvikCore/Reports/AuditSums.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <tuple>

#include "OrvikCore/Reports/ReportText.h"
#include "Platform/UUID.h"

namespace orvik {

namespace {

bool isNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
}

/// A foreign log may hold any number, a negative one too.
void accumulate(std::int64_t& sum, std::optional<std::int64_t> value) {
  const auto more = std::max<std::int64_t>(value.value_or(0), 0);
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  sum = more > most - sum ? most : sum + more;
}

}  // namespace

std::string templateOf(std::string_view path) {
  const bool isCloudFile = path.find("jcds/files") != std::string_view::npos;
  std::string pattern;
  for (std::string_view before;;) {
    const auto end = path.find('/');
    const auto component = path.substr(0, end);
    if (isCloudFile && before == "files" && !component.empty())
      pattern += "{file}";
    else if (isNumber(component) || platform::UUID::parse(component))
      pattern += "{id}";
    else
      pattern += component;
    if (end == std::string_view::npos) return pattern;
    pattern += '/';
    path.remove_prefix(end + 1);
    before = component;
  }
}

void AuditSums::add(std::string_view name, const AuditEntry& entry) {
  const auto key = reportText::line(name, longestName);
  auto found = rows_.find(key);
  if (found == rows_.end() && rows_.size() < mostNames_) found = rows_.emplace(key, Row{key}).first;
  auto& row = found == rows_.end() ? others_ : found->second;
  ++row.count;
  if (entry.outcome != "ok") ++row.errors;
  accumulate(row.bytes, entry.bytes);
  accumulate(row.milliseconds, entry.milliseconds);
}

std::vector<AuditSums::Row> AuditSums::rows() const {
  std::vector<Row> sorted;
  sorted.reserve(rows_.size() + 1);
  for (const auto& [name, row] : rows_) sorted.push_back(row);
  std::ranges::stable_sort(sorted, std::ranges::greater(), &Row::count);
  if (others_.count > 0) sorted.push_back(others_);
  return sorted;
}

std::vector<std::string> AuditSums::names() const {
  std::vector<std::string> names;
  for (auto& row : rows()) names.push_back(std::move(row.name));
  return names;
}

}  // namespace orvik
