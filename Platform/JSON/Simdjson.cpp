#include <simdjson.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <string>
#include <utility>

#include "Platform/JSON/BigIntegers.h"
#include "Platform/JSON/Reader.h"
#include "Platform/JSON/View.h"

/// The one place that knows the parser library. What it accepts is what View.h calls JSON, but for two things
/// that are set right here: it refuses integers beyond 64 bits, and it does not count an empty container as a
/// level of nesting.
namespace platform::json {

namespace detail {

namespace {

constexpr std::size_t smallestCapacity = std::size_t{64} << 10;

/// With this limit the parser takes 511 levels and an empty container in the last: never more than 512.
constexpr std::size_t usualDepth = maximumDepth;
/// With this one 512 levels, and an empty container as 513th.
constexpr std::size_t widerDepth = maximumDepth + 1;

Tape tapeOf(const simdjson::dom::document& document) {
  static_assert(sizeof(*document.tape.get()) == sizeof(*Tape::words));
  static_assert(simdjson::SIMDJSON_PADDING >= 32, "Tape promises to be readable beyond its texts");
  return {document.tape.get(), reinterpret_cast<const char*>(document.string_buf.get())};
}

bool isDeeperThanAllowed(const Tape& tape) {
  std::size_t depth = 0;
  const std::size_t end = static_cast<std::uint32_t>(tape.words[0]);
  for (std::size_t i = Tape::rootIndex; i < end;) {
    const char tag = tape.tag(i);
    if (tag == '{' || tag == '[') {
      if (++depth > maximumDepth) return true;
      ++i;
      continue;
    }
    if (tag == '}' || tag == ']') --depth;
    i = tape.next(i);
  }
  return false;
}

const char* problemOf(simdjson::error_code code) {
  switch (code) {
    case simdjson::EMPTY:
      return "they are empty";
    case simdjson::CAPACITY:
      return "they are larger than 4 GB";
    case simdjson::DEPTH_ERROR:
      return "they nest deeper than 512 levels";
    case simdjson::UTF8_ERROR:
      return "they are not valid UTF-8";
    case simdjson::NUMBER_ERROR:
      return "they hold a number that is malformed or too large";
    case simdjson::STRING_ERROR:
    case simdjson::UNESCAPED_CHARS:
      return "they hold a malformed text";
    case simdjson::UNCLOSED_STRING:
      return "they end within a text";
    default:
      return "their structure is malformed";
  }
}

/// Bytes with the padding behind them that the parser reads.
class PaddedCopy {
 public:
  const char* of(std::string_view bytes) {
    const std::size_t needed = bytes.size() + simdjson::SIMDJSON_PADDING;
    if (capacity_ < needed) {
      memory_.reset();
      capacity_ =
          std::max(smallestCapacity, bytes.size() > largestKeptDocument ? needed : std::bit_ceil(needed));
      memory_ = std::make_unique_for_overwrite<char[]>(capacity_);
    }
    std::memcpy(memory_.get(), bytes.data(), bytes.size());
    std::memset(memory_.get() + bytes.size(), 0, simdjson::SIMDJSON_PADDING);
    return memory_.get();
  }
  void release() noexcept {
    memory_.reset();
    capacity_ = 0;
  }

 private:
  std::unique_ptr<char[]> memory_;
  std::size_t capacity_ = 0;
};

}  // namespace

struct Reader::Body {
  simdjson::dom::parser parser;
  simdjson::dom::document document;
  PaddedCopy copy;
  std::size_t largest = 0;  // the longest document since the last `shrink`

  /// Parses into `target`, which holds the tape afterwards.
  const char* parse(simdjson::dom::document& target, std::string_view bytes, std::size_t spare) {
    if (bytes.empty()) return problemOf(simdjson::EMPTY);
    if (bytes.size() >= simdjson::SIMDJSON_MAXSIZE_BYTES) return problemOf(simdjson::CAPACITY);
    auto code = parseOnce(target, bytes, spare, usualDepth);
    std::size_t depth = usualDepth;
    if (code == simdjson::DEPTH_ERROR) code = parseOnce(target, bytes, spare, depth = widerDepth);
    if (code == simdjson::NUMBER_ERROR)
      if (const auto marked = markBigIntegers(bytes))
        code = parseOnce(target, *marked, marked->capacity() - marked->size(), depth = widerDepth);
    if (code == simdjson::MEMALLOC) throw outOfMemory(bytes.size());
    if (code) return problemOf(code);
    if (depth == widerDepth && isDeeperThanAllowed(tapeOf(target))) return problemOf(simdjson::DEPTH_ERROR);
    return nullptr;
  }

 private:
  static Error outOfMemory(std::size_t size) {
    return Error("There is not enough memory to read a JSON document of " + std::to_string(size) + " bytes.");
  }

  simdjson::error_code parseOnce(simdjson::dom::document& target, std::string_view bytes, std::size_t spare,
                                 std::size_t depth) {
    largest = std::max(largest, bytes.size());
    if (const auto code = prepare(bytes.size(), depth)) return code;
    if (&target == &document && target.capacity() < parser.capacity())
      if (const auto code = target.allocate(parser.capacity())) return code;
    const char* start = spare >= simdjson::SIMDJSON_PADDING ? bytes.data() : copy.of(bytes);
    return parser.parse_into_document(target, start, bytes.size(), false).error();
  }

  simdjson::error_code prepare(std::size_t size, std::size_t depth) {
    if (parser.capacity() >= size && parser.max_depth() == depth) return simdjson::SUCCESS;
    const std::size_t generous = size > largestKeptDocument ? size : std::bit_ceil(size);
    return parser.allocate(std::max({smallestCapacity, generous, parser.capacity()}), depth);
  }
};

Reader::Reader() : body_(std::make_unique<Body>()) {}
Reader::~Reader() = default;

Reader& Reader::ofThisThread() {
  static thread_local Reader reader;
  return reader;
}

Reader::Result Reader::read(std::string_view bytes, std::size_t spare) {
  const char* problem = body_->parse(body_->document, bytes, spare);
  if (problem) return {{}, problem};
  return {tapeOf(body_->document), nullptr};
}

void Reader::shrink() noexcept {
  if (body_->largest <= largestKeptDocument) return;
  body_->parser = simdjson::dom::parser();
  body_->document = simdjson::dom::document();
  body_->copy.release();
  body_->largest = 0;
}

/// Parses into a document's own memory instead of the reader's.
struct DocumentAccess {
  static const char* parse(simdjson::dom::document& target, std::string_view bytes) {
    Reader& reader = Reader::ofThisThread();
    struct Shrink {
      Reader& reader;
      ~Shrink() { reader.shrink(); }
    } shrink{reader};
    return reader.body_->parse(target, bytes, 0);
  }
};

}  // namespace detail

struct Document::Body {
  simdjson::dom::document memory;
  detail::Tape tape;
};

Document::Document(std::unique_ptr<Body> body) : body_(std::move(body)) {}
Document::~Document() = default;

std::shared_ptr<const Document> Document::parse(std::string_view bytes) {
  auto body = std::make_unique<Body>();
  if (const char* problem = detail::DocumentAccess::parse(body->memory, bytes))
    throw ParseError(std::string("The bytes are not JSON: ") + problem + ".");
  body->tape = detail::tapeOf(body->memory);
  return std::shared_ptr<const Document>(new Document(std::move(body)));
}

void lookAt(const Bytes& bytes, const std::function<void(View root)>& look) {
  auto& reader = detail::Reader::ofThisThread();
  struct Shrink {
    detail::Reader& reader;
    ~Shrink() { reader.shrink(); }
  } shrink{reader};
  const auto [tape, problem] = reader.read(bytes, bytes.capacity() - bytes.size());
  if (problem) throw ParseError(std::string("The bytes are not JSON: ") + problem + ".");
  look(View(&tape, detail::Tape::rootIndex));
}

View Document::root() const { return {&body_->tape, detail::Tape::rootIndex}; }

}  // namespace platform::json
