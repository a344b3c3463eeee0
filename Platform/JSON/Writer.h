#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "Platform/Bytes.h"

namespace platform::json {

/// The two renderings. `pretty`: two blanks a level, one member a line, `"key" : value`, an empty container
/// as its bracket, a line feed, an empty line, the indentation and the closing bracket. `compact`: no white
/// space.
enum class Rendering { pretty, compact };

/// Appends `text` as a JSON string: quote, backslash and control characters escaped (short forms, else \u00xx
/// in lower case), all else literal. `text` is UTF-8, which is not checked.
void appendString(Bytes& out, std::string_view text);

/// Whole values below 2^53 without point or exponent, "-0" for the negative zero, else the shortest text that
/// reads back to the same double, as `std::to_chars` writes it ("1e+20"). Throws `Error` unless `value` is
/// finite.
void appendNumber(Bytes& out, double value);
void appendInteger(Bytes& out, std::int64_t value);
void appendUnsigned(Bytes& out, std::uint64_t value);

/// Writes one JSON document piece by piece. The caller gives keys in ascending order; the writer puts the
/// punctuation. The beginning of a container below `maximumDepth` others and a number that is not finite
/// throw `Error`. Not for more than one thread.
class Writer {
 public:
  explicit Writer(Rendering rendering) : rendering_(rendering) {}

  void beginObject();
  void endObject();
  void beginArray();
  void endArray();
  /// Before the value of each member of an object.
  void key(std::string_view name);

  void null();
  void boolean(bool value);
  void integer(std::int64_t value);
  void unsignedInteger(std::uint64_t value);
  void number(double value);
  void string(std::string_view value);

  /// The finished text. The writer is empty afterwards.
  Bytes take();

 private:
  void beforeValue();
  void open(char bracket);
  void close(char bracket);
  void lineBreak();

  Rendering rendering_;
  Bytes out_;
  std::size_t depth_ = 0;
  bool first_ = true;      // nothing stands in the open container yet
  bool afterKey_ = false;  // a key was written, its value follows
};

}  // namespace platform::json
