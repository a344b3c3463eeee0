#include "Platform/JSON/Canonical.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Error.h"
#include "Platform/JSON/Escape.h"
#include "Platform/JSON/MemberOrder.h"
#include "Platform/JSON/NumberText.h"
#include "Platform/JSON/Reader.h"
#include "Platform/JSON/View.h"

namespace platform::json {

namespace {

using detail::Tape;

/// Text that grows at its end. The end itself, `out`, is a local of whoever writes, so that it stays in a
/// register: a store through `char*` would make the compiler read it back from memory each time.
class TextBuffer {
 public:
  /// The empty text.
  char* begin() { return makeRoom(memory_.get(), 0); }
  /// Makes room for `count` bytes and one block beyond them behind `out`. Returns where to go on.
  char* makeRoom(char* out, std::size_t count) {
    return static_cast<std::size_t>(limit_ - out) < count + slack ? grow(out, count + slack) : out;
  }
  std::string_view upTo(const char* out) const {
    checkLength(used(out));
    return {memory_.get(), used(out)};
  }

  void shrink() {
    if (static_cast<std::size_t>(limit_ - memory_.get()) <= largestKept) return;
    memory_.reset();
    limit_ = nullptr;
  }

 private:
  static constexpr std::size_t slack = 2 * detail::blockSize;
  static constexpr std::size_t smallest = std::size_t{256} << 10;
  static constexpr std::size_t largestKept = 2 * detail::largestKeptDocument;
  static constexpr std::size_t longestText = std::size_t{1} << 30;

  std::size_t used(const char* out) const { return static_cast<std::size_t>(out - memory_.get()); }

  static void checkLength(std::size_t length) {
    if (length > longestText)
      throw Error("The canonical text of a JSON document would be longer than 1 GiB.");
  }

  char* grow(char* out, std::size_t count) {
    const std::size_t length = used(out);
    if (length > longestText)
      throw Error("The canonical text of a JSON document would be longer than 1 GiB.");
    const std::size_t capacity = std::max({smallest, 2 * length, length + count});
    auto larger = std::make_unique_for_overwrite<char[]>(capacity);
    if (length > 0) std::memcpy(larger.get(), memory_.get(), length);
    memory_ = std::move(larger);
    limit_ = memory_.get() + capacity;
    return memory_.get() + length;
  }

  std::unique_ptr<char[]> memory_;
  char* limit_ = nullptr;
};

template <std::size_t Size>
char* literal(char* out, const char (&text)[Size]) {
  std::memcpy(out, text, Size - 1);
  return out + Size - 1;
}

template <class Number>
char* number(char* out, Number value) {
  return out + detail::writeNumber(out, value);
}

char* lineBreak(char* out, std::size_t depth) {
  *out++ = '\n';
  const std::size_t blanks = 2 * depth;
  std::memset(out, ' ', detail::blockSize);
  if (blanks > detail::blockSize) std::memset(out + detail::blockSize, ' ', blanks - detail::blockSize);
  return out + blanks;
}

/// Needs room for an indentation of its own: it may stand behind one.
char* emptyContainer(char* out, char closing, std::size_t depth) {
  *out++ = '\n';
  out = lineBreak(out, depth);
  *out++ = closing;
  return out;
}

/// Renders tapes; keeps its memory from one to the next. One per thread.
///
/// Each step takes the end of the text, with `memberRoom` behind it, and returns the new end.
class Renderer {
 public:
  /// The text is valid until the next call of any member.
  std::string_view render(const Tape& tape) {
    tape_ = tape;
    keys_.clear();
    return text_.upTo(value(makeRoom(text_.begin()), Tape::rootIndex, 0));
  }

  void shrink() {
    text_.shrink();
    if (keys_.capacity() * sizeof(std::uint32_t) > detail::largestKeptDocument) keys_ = {};
    order_.shrink();
  }

 private:
  static constexpr std::size_t shortText = 32;
  /// Room for a line break with the deepest indentation, punctuation, a short key and any scalar but a long
  /// text.
  static constexpr std::size_t memberRoom = 2 * maximumDepth + 2 * (6 * shortText) + 64;

  char* makeRoom(char* out) { return text_.makeRoom(out, memberRoom); }

  char* value(char* out, std::size_t index, std::size_t depth);
  char* array(char* out, std::size_t index, std::size_t depth);
  char* object(char* out, std::size_t index, std::size_t depth);

  char* string(char* out, std::string_view text) {
    if (text.size() > shortText) return longString(out, text);
    *out++ = '"';
    out = detail::copyEscaped(out, text.data(), text.data() + text.size());
    *out++ = '"';
    return out;
  }

  /// In pieces, so that the room for the worst case stays small.
  [[gnu::noinline]] char* longString(char* out, std::string_view text) {
    constexpr std::size_t piece = std::size_t{32} << 10;
    *out++ = '"';
    while (!text.empty()) {
      const std::string_view part = text.substr(0, piece);
      out = text_.makeRoom(out, 6 * part.size() + memberRoom);
      out = detail::copyEscaped(out, part.data(), part.data() + part.size());
      text.remove_prefix(part.size());
    }
    *out++ = '"';
    return out;
  }

  Tape tape_;
  TextBuffer text_;
  std::vector<std::uint32_t> keys_;  // still to be written of all open objects, the innermost at the end
  detail::MemberOrder order_;
};

char* Renderer::value(char* out, std::size_t index, std::size_t depth) {
  const Tape tape = tape_;
  switch (tape.tag(index)) {
    case '"':
      return string(out, tape.string(index));
    case 'l':
      return number(out, tape.number<std::int64_t>(index));
    case 'u':
      return number(out, tape.number<std::uint64_t>(index));
    case 'd':
      return number(out, tape.number<double>(index));
    case 't':
      return literal(out, "true");
    case 'f':
      return literal(out, "false");
    case '{':
      return object(out, index, depth);
    case '[':
      return array(out, index, depth);
    default:
      return literal(out, "null");
  }
}

char* Renderer::array(char* out, std::size_t index, std::size_t depth) {
  const Tape tape = tape_;
  const std::size_t end = tape.next(index) - 1;
  *out++ = '[';
  if (index + 1 == end) return emptyContainer(makeRoom(out), ']', depth);
  for (std::size_t element = index + 1; element < end; element = tape.next(element)) {
    if (element > index + 1) *out++ = ',';
    out = lineBreak(makeRoom(out), depth + 1);
    out = value(out, element, depth + 1);
  }
  out = lineBreak(makeRoom(out), depth);
  *out++ = ']';
  return out;
}

char* Renderer::object(char* out, std::size_t index, std::size_t depth) {
  const Tape tape = tape_;
  *out++ = '{';
  if (index + 2 == tape.next(index)) return emptyContainer(makeRoom(out), '}', depth);
  const std::size_t first = keys_.size();
  order_.append(tape, index, keys_);
  const std::size_t end = keys_.size();
  for (std::size_t i = first; i < end; ++i) {
    const std::size_t key = keys_[i];
    if (i > first) *out++ = ',';
    out = lineBreak(makeRoom(out), depth + 1);
    out = literal(string(out, tape.string(key)), " : ");
    out = value(out, key + 1, depth + 1);
  }
  keys_.resize(first);
  out = lineBreak(makeRoom(out), depth);
  *out++ = '}';
  return out;
}

/// Gives the thread's memory back after a large document, also when rendering it failed.
struct ShrinkAtEnd {
  detail::Reader& reader;
  Renderer& renderer;
  ~ShrinkAtEnd() {
    reader.shrink();
    renderer.shrink();
  }
};

std::optional<Bytes> canonical(std::string_view bytes, std::size_t spare) {
  static thread_local Renderer renderer;
  auto& reader = detail::Reader::ofThisThread();
  const ShrinkAtEnd shrink{reader, renderer};
  const auto result = reader.read(bytes, spare);
  if (result.problem) return std::nullopt;
  return Bytes(renderer.render(result.tape));
}

bool validate(std::string_view bytes, std::size_t spare) {
  auto& reader = detail::Reader::ofThisThread();
  const bool valid = reader.read(bytes, spare).problem == nullptr;
  reader.shrink();
  return valid;
}

}  // namespace

std::optional<Bytes> canonical(std::string_view bytes) { return canonical(bytes, 0); }
std::optional<Bytes> canonical(const Bytes& bytes) {
  return canonical(bytes, bytes.capacity() - bytes.size());
}

bool validate(std::string_view bytes) { return validate(bytes, 0); }
bool validate(const Bytes& bytes) { return validate(bytes, bytes.capacity() - bytes.size()); }

}  // namespace platform::json
