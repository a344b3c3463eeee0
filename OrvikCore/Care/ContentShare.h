#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <variant>

#include "OrvikCore/Store/ObjectKey.h"

namespace orvik {

/// A stretch of the ring of all names, and so a share of what bears them: names are digests, which spread
/// evenly. Stretches that follow each other all around the ring leave nothing out, whatever is stored
/// meanwhile. A plain value.
class ContentShare {
 public:
  /// A place on the ring: what the first 8 bytes of a name spell.
  using Place = std::uint64_t;

  static ContentShare all() { return {0, whole}; }
  static ContentShare none() { return {0, 0}; }
  /// Part `number` of `count` equal ones. Requires: 1 <= number <= count.
  static ContentShare part(std::uint32_t number, std::uint32_t count);
  /// So many hundredths from a place on. Requires: 0 <= percent <= 100.
  static ContentShare from(Place begin, double percent);
  /// From a place up to another, that one left out.
  static ContentShare between(Place begin, Place end) { return {begin, Length(Place(end - begin))}; }

  static Place placeOf(const ObjectKey& key) noexcept;

  bool contains(const ObjectKey& key) const noexcept { return Place(placeOf(key) - begin_) < length_; }
  bool isAll() const noexcept { return length_ == whole; }
  /// Where the next share begins.
  Place end() const noexcept { return begin_ + static_cast<Place>(length_); }

  bool operator==(const ContentShare&) const = default;

 private:
  __extension__ using Length = unsigned __int128;
  static constexpr Length whole = Length(1) << 64;

  ContentShare(Place begin, Length length) : begin_(begin), length_(length) {}

  Place begin_;
  Length length_;
};

/// What of the stored content a check reads.
struct Reading {
  /// All objects; of package files the length alone.
  struct Objects {};
  /// So many bytes of objects and package files, from a place on: whatever comes next, and one thing at
  /// least.
  struct Budget {
    ContentShare::Place begin = 0;
    std::int64_t bytes = 0;
  };
  /// `ContentShare` holds for objects and package files alike.
  std::variant<Objects, ContentShare, Budget> what = Objects();

  static Reading everything() { return {ContentShare::all()}; }
};

/// What a person asks for: "1/7", "10%" or "5G".
struct ReadingRequest {
  struct Part {
    std::uint32_t number = 1;
    std::uint32_t count = 1;
    bool operator==(const Part&) const = default;
  };
  struct Percent {
    double percent = 100;
    bool operator==(const Percent&) const = default;
  };
  struct Size {
    std::int64_t bytes = 0;
    bool operator==(const Size&) const = default;
  };
  std::variant<Part, Percent, Size> what;

  /// A part of up to 1000, hundredths from 0 to 100 with fractions, bytes of at least 1 with K, M, G or T
  /// (decimal, "B" behind it or not). Nothing for any other text.
  static std::optional<ReadingRequest> parse(std::string_view text);

  bool operator==(const ReadingRequest&) const = default;
};

}  // namespace orvik
