#include "orvik/Doctor/Check.h"

#include <fmt/format.h>

#include <string_view>
#include <utility>

#include "orvik/Output/VisibleText.h"

namespace orvik::host {

namespace {

using platform::json::Value;

struct Word {
  std::string_view text;
  std::string_view json;
  Paint::Ink ink;
};

Word wordFor(Check::Status status) {
  switch (status) {
    case Check::Status::ok:
      break;
    case Check::Status::warning:
      return {"WARNING", "warning", Paint::Ink::warning};
    case Check::Status::failed:
      return {"FAILED", "failed", Paint::Ink::bad};
  }
  return {"OK", "ok", Paint::Ink::good};
}

}  // namespace

Check Check::ok(std::string id, std::string text) {
  return {std::move(id), Status::ok, std::move(text), {}, {}};
}

Check Check::warning(std::string id, std::string text, std::string advice) {
  return {std::move(id), Status::warning, std::move(text), std::move(advice), {}};
}

Check Check::failed(std::string id, std::string text, std::string advice) {
  return {std::move(id), Status::failed, std::move(text), std::move(advice), {}};
}

namespace checkText {

std::string page(const Check& check, const Paint& paint) {
  constexpr std::size_t column = 9;
  const auto word = wordFor(check.status);
  auto page = paint(word.ink, word.text) + std::string(column - word.text.size(), ' ') + oneLine(check.text);
  if (!check.advice.empty()) page += " " + oneLine(check.advice);
  for (const auto& line : check.lines) page += "\n" + std::string(column + 2, ' ') + oneLine(line);
  return page;
}

Value json(const Check& check) {
  auto line = Value::object({{"event", "check"},
                             {"check", check.id},
                             {"status", wordFor(check.status).json},
                             {"text", check.text}});
  if (!check.advice.empty()) line.set("advice", check.advice);
  for (const auto& [name, value] : *check.details.object_()) line.set(name, value);
  return line;
}

}  // namespace checkText

}  // namespace orvik::host
