#pragma once

#include <span>
#include <string_view>

namespace orvik::host {

/// A file of the explorer's page. They lie in `Page/` and are part of the program.
struct PageFile {
  std::string_view name;  ///< "app.js"
  std::string_view content;
};

/// By name. The source is made when the build is configured.
std::span<const PageFile> pageFiles();

/// The media type of a file by the ending of its name.
std::string_view mediaTypeOf(std::string_view fileName);

}  // namespace orvik::host
