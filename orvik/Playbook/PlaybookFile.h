#pragma once

#include <cstddef>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

/// The document that a command is told to work with.
namespace orvik::host {

/// The bytes of a file or pipe, at most as many as a document of YAML may have; "-" is standard input. Throws
/// `NotFoundError` when there is none, `platform::Error` for what can't be read or is longer, and
/// `CancellationError` on a stop.
std::string readPlaybookFile(const std::string& file, const std::stop_token& stop);

/// A key that means nothing where it stands: most likely a slip of the pen.
struct UnknownKey {
  std::string key;
  std::string place;  ///< "the playbook", "a criterion"
  std::size_t line = 0;

  bool operator==(const UnknownKey&) const = default;
};

/// Of a text that decodes, in its order.
std::vector<UnknownKey> unknownKeys(std::string_view yaml);

}  // namespace orvik::host
