#include <array>
#include <utility>

#include "orvik/Browse/PageFiles.h"

namespace orvik::host {

std::string_view mediaTypeOf(std::string_view fileName) {
  constexpr std::array<std::pair<std::string_view, std::string_view>, 4> types{
      {{".html", "text/html; charset=utf-8"},
       {".css", "text/css; charset=utf-8"},
       {".js", "text/javascript; charset=utf-8"},
       {".svg", "image/svg+xml"}}};
  for (const auto& [ending, type] : types)
    if (fileName.ends_with(ending)) return type;
  return "application/octet-stream";
}

}  // namespace orvik::host
