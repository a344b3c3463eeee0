#include "Platform/JSON/Writer.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <string>
#include <utility>

#include "Platform/Error.h"
#include "Platform/JSON/Escape.h"
#include "Platform/JSON/NumberText.h"
#include "Platform/JSON/View.h"

namespace platform::json {

namespace {

/// The length of the run at the start of `text` that needs no escape.
std::size_t literalRun(std::string_view text) {
  std::size_t run = 0;
  for (; text.size() - run >= detail::blockSize; run += detail::blockSize)
    if (const unsigned mask = detail::escapeMask(text.data() + run))
      return run + static_cast<std::size_t>(std::countr_zero(mask));
  while (run < text.size() && detail::escapeOf(text[run]).length == 0) ++run;
  return run;
}

template <class Number>
void appendText(Bytes& out, Number value) {
  std::array<char, detail::longestNumber> text;
  out.append(text.data(), detail::writeNumber(text.data(), value));
}

}  // namespace

void appendString(Bytes& out, std::string_view text) {
  out.push_back('"');
  while (!text.empty()) {
    const std::size_t run = literalRun(text);
    out.append(text.data(), run);
    text.remove_prefix(run);
    if (text.empty()) break;
    const auto& escape = detail::escapeOf(text.front());
    out.append(escape.text, escape.length);
    text.remove_prefix(1);
  }
  out.push_back('"');
}

void appendNumber(Bytes& out, double value) {
  if (!std::isfinite(value)) throw Error("A number that is not finite can't be written as JSON.");
  appendText(out, value);
}

void appendInteger(Bytes& out, std::int64_t value) { appendText(out, value); }
void appendUnsigned(Bytes& out, std::uint64_t value) { appendText(out, value); }

void Writer::lineBreak() {
  out_.push_back('\n');
  out_.append(2 * depth_, ' ');
}

void Writer::beforeValue() {
  if (std::exchange(afterKey_, false)) return;
  if (depth_ == 0) return;
  if (!std::exchange(first_, false)) out_.push_back(',');
  if (rendering_ == Rendering::pretty) lineBreak();
}

void Writer::open(char bracket) {
  if (depth_ == maximumDepth)
    throw Error("JSON that nests deeper than " + std::to_string(maximumDepth) + " levels is not written.");
  beforeValue();
  out_.push_back(bracket);
  ++depth_;
  first_ = true;
}

void Writer::close(char bracket) {
  --depth_;
  if (rendering_ == Rendering::pretty) {
    if (first_) out_.push_back('\n');
    lineBreak();
  }
  out_.push_back(bracket);
  first_ = false;
}

void Writer::beginObject() { open('{'); }
void Writer::endObject() { close('}'); }
void Writer::beginArray() { open('['); }
void Writer::endArray() { close(']'); }

void Writer::key(std::string_view name) {
  beforeValue();
  appendString(out_, name);
  out_.append(rendering_ == Rendering::pretty ? " : " : ":");
  afterKey_ = true;
}

void Writer::null() {
  beforeValue();
  out_.append("null");
}

void Writer::boolean(bool value) {
  beforeValue();
  out_.append(value ? "true" : "false");
}

void Writer::integer(std::int64_t value) {
  beforeValue();
  appendInteger(out_, value);
}

void Writer::unsignedInteger(std::uint64_t value) {
  beforeValue();
  appendUnsigned(out_, value);
}

void Writer::number(double value) {
  beforeValue();
  appendNumber(out_, value);
}

void Writer::string(std::string_view value) {
  beforeValue();
  appendString(out_, value);
}

Bytes Writer::take() {
  Bytes result = std::exchange(out_, {});
  *this = Writer(rendering_);
  return result;
}

}  // namespace platform::json
