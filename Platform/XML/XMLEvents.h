#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "Platform/Error.h"

/// XML 1.0 as a row of events, for those who make something of their own of it. A declaration of an entity is
/// refused, and no external entity is ever looked at, so that a document means no more than what it holds.
namespace platform::xml {

/// The longest document that is read, in bytes.
inline constexpr std::size_t maximumSize = std::size_t{64} << 20;

/// Says what is wrong.
class ParseError : public Error {
 public:
  using Error::Error;
};

/// Who is told of a document, in its order. What a call throws ends the reading and passes through it.
class Events {
 public:
  virtual void begin(std::string_view element) = 0;
  /// A piece of text, decoded; pieces that follow each other are one.
  virtual void text(std::string_view piece) = 0;
  /// `element` is the one that was begun last and not ended.
  virtual void end(std::string_view element) = 0;

 protected:
  ~Events() = default;
};

/// One reading of one document.
class Reading {
 public:
  /// `events` must outlive the reading.
  explicit Reading(Events& events);
  ~Reading();
  Reading(const Reading&) = delete;
  Reading& operator=(const Reading&) = delete;

  /// Reads a whole document, once. Throws `ParseError`, which doesn't name the line, for what is no XML, and
  /// what the events throw. Requires: it is no longer than `maximumSize`.
  void read(std::string_view xml);

  /// The line, from 1, that was read last.
  std::uint64_t line() const;

 private:
  struct Body;
  std::unique_ptr<Body> body_;
};

}  // namespace platform::xml
