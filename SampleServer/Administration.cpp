#include "SampleServer/Administration.h"

#include <algorithm>
#include <iterator>

#include "Platform/HTTP/URL.h"

namespace sample {
namespace {

/// The first piece ahead of a slash, and the rest behind it.
std::string_view takeSegment(std::string_view& path) {
  const std::string_view segment = path.substr(0, path.find('/'));
  path.remove_prefix(std::min(path.size(), segment.size() + 1));
  return segment;
}

bool fits(std::string_view pattern, std::span<const std::string> segments) {
  for (const std::string& segment : segments) {
    if (pattern.empty()) return false;
    const std::string_view expected = takeSegment(pattern);
    if (expected == "*" ? segment.empty() : expected != segment) return false;
  }
  return pattern.empty();
}

}  // namespace

Administration::Administration(Fleet& fleet, const Dialect& dialect)
    : objects_(fleet, dialect),
      groups_(fleet, dialect),
      classic_(fleet, dialect),
      inventory_(fleet, dialect),
      titles_(fleet, dialect),
      uploads_(fleet, dialect) {
  for (auto routes : {objects_.routes(), groups_.routes(), classic_.routes(), inventory_.routes(),
                      titles_.routes(), uploads_.routes()})
    std::ranges::move(routes, std::back_inserter(routes_));
}

std::optional<Administration::Task> Administration::find(const Request& request) const {
  Call call{request, {}};
  std::string_view path = request.path.substr(1);
  const bool endsInSlash = path.ends_with('/');
  while (!path.empty()) call.segments.push_back(platform::percentDecode(takeSegment(path)));
  if (endsInSlash || call.segments.empty()) return std::nullopt;
  const auto found =
      std::ranges::find_if(routes_, [&](const Route& route) { return fits(route.pattern, call.segments); });
  if (found == routes_.end()) return std::nullopt;
  return Task{*found, std::move(call)};
}

std::optional<Answer> Administration::serve(const Task& task) {
  std::unique_lock lock(writing_, std::defer_lock);
  if (!task.call.is("GET")) lock.lock();
  return task.route.serve(task.call);
}

}  // namespace sample
