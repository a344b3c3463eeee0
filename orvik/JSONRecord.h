#pragma once

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

}  // namespace orvik::host
