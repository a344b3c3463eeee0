#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string_view>

#include "Platform/Bytes.h"
#include "Platform/Error.h"

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

/// A look at one value of a `Document`: 16 bytes, copied freely, valid while its document lives. Immutable,
/// so any thread may use it.
class View {
 public:
  /// `integer` when it fits a signed 64-bit integer, `unsignedInteger` for those above, else `number`.
  Kind kind() const;
  bool isObject() const { return kind() == Kind::object; }
  bool isArray() const { return kind() == Kind::array; }
  bool isNull() const { return kind() == Kind::null; }

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
  View(const void* document, std::size_t index) : document_(document), index_(index) {}

  const void* document_;
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
    Iterator(const void* document, std::size_t index) : document_(document), index_(index) {}
    const void* document_;
    std::size_t index_;
  };

  Iterator begin() const { return {document_, begin_}; }
  Iterator end() const { return {document_, end_}; }
  bool empty() const { return begin_ == end_; }
  /// Walks the whole range.
  std::size_t count() const;

 private:
  friend class View;
  Elements(const void* document, std::size_t begin, std::size_t end)
      : document_(document), begin_(begin), end_(end) {}
  const void* document_;
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
    Iterator(const void* document, std::size_t index) : document_(document), index_(index) {}
    const void* document_;
    std::size_t index_;
  };

  Iterator begin() const { return {document_, begin_}; }
  Iterator end() const { return {document_, end_}; }
  bool empty() const { return begin_ == end_; }
  std::size_t count() const;

 private:
  friend class View;
  Members(const void* document, std::size_t begin, std::size_t end)
      : document_(document), begin_(begin), end_(end) {}
  const void* document_;
  std::size_t begin_;
  std::size_t end_;
};

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
