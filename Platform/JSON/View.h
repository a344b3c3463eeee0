#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/Error.h"
#include "Platform/JSON/Tape.h"

/// Reading JSON (RFC 8259) of any shape.
///
/// What is not JSON here, and refused: invalid UTF-8, a byte order mark, lone surrogates, nesting beyond 512,
/// a number that no double can hold, trailing bytes, empty input. Bare strings, numbers and literals are
/// documents. Integers beyond 64 bits are read as doubles.
namespace platform::json {

/// The deepest nesting that is read or written.
inline constexpr std::size_t maximumDepth = 512;

class ParseError : public Error {
 public:
  using Error::Error;
};

enum class Kind { null, boolean, integer, unsignedInteger, number, string, array, object };

class Elements;
class Members;
struct Member;

/// A look at one value of a `Document`: 16 bytes, copied freely, valid while its document lives. Immutable,
/// so any thread may use it.
class View {
 public:
  /// `integer` when it fits a signed 64-bit integer, `unsignedInteger` for those above, else `number`.
  Kind kind() const;
  bool isObject() const { return tape().tag(index_) == '{'; }
  bool isArray() const { return tape().tag(index_) == '['; }
  bool isNull() const { return tape().tag(index_) == 'n'; }

  std::optional<bool> boolean() const;
  /// Only for a value written as an integer: 2.0 is none.
  std::optional<std::int64_t> int64() const;
  std::optional<std::uint64_t> uint64() const;
  /// The value of any number.
  std::optional<double> number() const;
  std::optional<std::string_view> string() const;

  /// The elements of an array; an empty range for anything else.
  Elements elements() const;
  /// The members of an object in the document's order; an empty range for anything else.
  Members members() const;
  /// The members of an object, ascending by the bytes of their keys; of a repeated key the last alone. Takes
  /// linear time where they stand so already, as in canonical text.
  std::vector<Member> sortedMembers() const;
  /// The member of that name; where it is repeated, the last. Nothing for anything but an object.
  std::optional<View> operator[](std::string_view key) const;

  /// The value as JSON bytes: compact, in the document's order, numbers as the canonical rendering writes
  /// them.
  Bytes serialized() const;

 private:
  friend class Document;
  friend class Elements;
  friend class Members;
  friend void lookAt(const Bytes& bytes, const std::function<void(View root)>& look);
  View(const detail::Tape* document, std::size_t index) : document_(document), index_(index) {}
  const detail::Tape& tape() const { return *document_; }

  const detail::Tape* document_;
  std::size_t index_;
};

struct Member {
  std::string_view key;
  View value;
};

/// The elements of an array, as a forward range.
class Elements {
 public:
  class Iterator {
   public:
    View operator*() const { return {document_, index_}; }
    Iterator& operator++();
    bool operator==(const Iterator& other) const { return index_ == other.index_; }

   private:
    friend class Elements;
    Iterator(const detail::Tape* document, std::size_t index) : document_(document), index_(index) {}
    const detail::Tape* document_;
    std::size_t index_;
  };

  Iterator begin() const { return {document_, begin_}; }
  Iterator end() const { return {document_, end_}; }
  bool empty() const { return begin_ == end_; }
  /// Walks the whole range.
  std::size_t count() const;

 private:
  friend class View;
  Elements(const detail::Tape* document, std::size_t begin, std::size_t end)
      : document_(document), begin_(begin), end_(end) {}
  const detail::Tape* document_;
  std::size_t begin_;
  std::size_t end_;
};

/// The members of an object, as a forward range.
class Members {
 public:
  class Iterator {
   public:
    Member operator*() const;
    Iterator& operator++();
    bool operator==(const Iterator& other) const { return index_ == other.index_; }

   private:
    friend class Members;
    Iterator(const detail::Tape* document, std::size_t index) : document_(document), index_(index) {}
    const detail::Tape* document_;
    std::size_t index_;
  };

  Iterator begin() const { return {document_, begin_}; }
  Iterator end() const { return {document_, end_}; }
  bool empty() const { return begin_ == end_; }
  std::size_t count() const;

 private:
  friend class View;
  Members(const detail::Tape* document, std::size_t begin, std::size_t end)
      : document_(document), begin_(begin), end_(end) {}
  const detail::Tape* document_;
  std::size_t begin_;
  std::size_t end_;
};

inline std::optional<bool> View::boolean() const {
  const char tag = tape().tag(index_);
  if (tag != 't' && tag != 'f') return std::nullopt;
  return tag == 't';
}

inline std::optional<std::int64_t> View::int64() const {
  if (tape().tag(index_) != 'l') return std::nullopt;
  return tape().number<std::int64_t>(index_);
}

inline std::optional<std::string_view> View::string() const {
  if (tape().tag(index_) != '"') return std::nullopt;
  return tape().string(index_);
}

inline Elements View::elements() const {
  if (!isArray()) return {document_, index_, index_};
  return {document_, index_ + 1, tape().next(index_) - 1};
}

inline Members View::members() const {
  if (!isObject()) return {document_, index_, index_};
  return {document_, index_ + 1, tape().next(index_) - 1};
}

inline Elements::Iterator& Elements::Iterator::operator++() {
  index_ = document_->next(index_);
  return *this;
}

inline Members::Iterator& Members::Iterator::operator++() {
  index_ = document_->next(index_ + 1);
  return *this;
}

inline Member Members::Iterator::operator*() const {
  return {document_->string(index_), View(document_, index_ + 1)};
}

/// Parses `bytes` into memory that this thread uses again and again, and shows the root: for walking many
/// documents once. Views are valid within `look`, which must not parse or decode anything. Where `bytes` has
/// room behind its end, as `files::read` leaves it, nothing is copied. Throws `ParseError`, and what `look`
/// throws.
void lookAt(const Bytes& bytes, const std::function<void(View root)>& look);

/// A parsed document. Owns its memory; neither copied nor moved once made, so that its views stay valid.
class Document {
 public:
  /// Throws `ParseError`. `bytes` need not outlive the call.
  static std::shared_ptr<const Document> parse(std::string_view bytes);

  View root() const;

  ~Document();
  Document(const Document&) = delete;
  Document& operator=(const Document&) = delete;

 private:
  struct Body;
  explicit Document(std::unique_ptr<Body> body);
  std::unique_ptr<Body> body_;
};

}  // namespace platform::json
