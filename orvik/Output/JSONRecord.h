#pragma once

#include <string>

#include "Platform/JSON/Codable.h"
#include "Platform/JSON/Value.h"

namespace orvik::host {

/// A record with the names and forms that it has on disk.
template <class Record>
platform::json::Value jsonOf(const Record& record) {
  namespace json = platform::json;
  const auto document = json::Document::parse(json::Encoder(json::Rendering::compact).encode(record));
  return json::Value::from(document->root());
}

/// A value as a line of standard output, without its end. It reads back equal, but invalid UTF-8 is mended,
/// and what could move something on a terminal is escaped.
std::string jsonLine(const platform::json::Value& value);

}  // namespace orvik::host
