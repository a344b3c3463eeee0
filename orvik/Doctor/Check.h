#pragma once

#include <string>
#include <vector>

#include "Platform/JSON/Value.h"
#include "orvik/Output/Paint.h"

namespace orvik::host {

/// One thing that the doctor looked at.
struct Check {
  enum class Status { ok, warning, failed };

  std::string id;  ///< for scripts; never rename one
  Status status = Status::ok;
  std::string text;                ///< a sentence on what was found
  std::string advice;              ///< what to do about it; empty for nothing
  std::vector<std::string> lines;  ///< more for people, one below the other
  platform::json::Value details = platform::json::Value::object({});  ///< more for scripts

  static Check ok(std::string id, std::string text);
  static Check warning(std::string id, std::string text, std::string advice);
  static Check failed(std::string id, std::string text, std::string advice);
};

/// Checks as people and scripts read them.
namespace checkText {

/// "WARNING  It is late. Go home.", and the further lines below. Safe for a terminal.
std::string page(const Check& check, const Paint& paint);
/// `{"event":"check","check","status","text"}` with `advice` where there is some, and the details.
platform::json::Value json(const Check& check);

}  // namespace checkText

}  // namespace orvik::host
