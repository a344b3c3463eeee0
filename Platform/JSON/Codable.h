#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/Date.h"
#include "Platform/Error.h"
#include "Platform/JSON/FieldList.h"
#include "Platform/JSON/View.h"
#include "Platform/JSON/Writer.h"
#include "Platform/UUID.h"

/// Records that travel as JSON.
///
/// A record is an aggregate that states its fields once:
///
///     struct RemovedItem {
///       std::string id;
///       std::optional<std::string> name;
///       static constexpr auto fields() {
///         return fieldList(json::field("id", &RemovedItem::id), json::field("name", &RemovedItem::name));
///       }
///       bool operator==(const RemovedItem&) const = default;
///     };
///
/// An enum states its texts once, found by argument-dependent look-up:
///
///     constexpr auto enumTexts(Status) {
///       return std::array{std::pair{Status::complete, std::string_view("complete")}, ...};
///     }
///
/// A type of another shape has two members instead, `void encode(Writer&) const` and `static T decode(View)`,
/// the latter of which throws `DecodingError`; one of them is enough for what goes in one direction. With
/// `static constexpr bool mayBeAbsent = true` a field of that type stays as it is made where its key is
/// missing or null.
///
/// An optional field is a `std::optional`, or a type with `static constexpr bool isOptional = true` that is
/// used like one.
///
/// Encoding: keys ascending; an empty optional leaves its key out; dates as ISO 8601 at whole seconds; UUIDs
/// in upper case. Decoding is strict: a missing or null required field, a wrong type, 2.0 for an integer, an
/// unknown enum text or an integer out of range fail with the coding path; null for an optional counts as
/// absent; unknown keys are ignored; of a repeated key the last counts. A field may have a second key,
/// `json::field("seen", &Record::seen, "lastSeen")`, which is read where the first has no value and is never
/// written.
namespace platform::json {

/// A document that is JSON but not the record that was asked for. `description()` begins with the coding
/// path, "sections[3].counts.total: not an integer".
class DecodingError : public Error {
 public:
  DecodingError(std::string path, std::string problem)
      : Error(path.empty() ? problem : path + ": " + problem),
        path_(std::move(path)),
        problem_(std::move(problem)) {}

  const std::string& path() const noexcept { return path_; }
  const std::string& problem() const noexcept { return problem_; }

  DecodingError below(std::string_view key) const {
    const bool joined = path_.empty() || path_.front() == '[';
    return DecodingError(std::string(key) + (joined ? "" : ".") + path_, problem_);
  }
  DecodingError below(std::size_t index) const {
    return below(std::string_view("[" + std::to_string(index) + "]"));
  }

 private:
  std::string path_;
  std::string problem_;
};

template <class T>
concept CodableRecord = requires {
  T::fields();
};

template <class T>
concept EncodableByMember = requires(const T& value, Writer& writer) {
  value.encode(writer);
};

template <class T>
concept DecodableByMember = requires(View view) {
  { T::decode(view) } -> std::same_as<T>;
};

template <class T>
concept CodableEnum = std::is_enum_v<T> && requires(T value) {
  enumTexts(value);
};

template <CodableEnum E>
constexpr std::string_view textOf(E value) {
  for (const auto& [candidate, text] : enumTexts(value))
    if (candidate == value) return text;
  return {};
}

template <CodableEnum E>
constexpr std::optional<E> enumFromText(std::string_view text) {
  for (const auto& [candidate, name] : enumTexts(E{}))
    if (name == text) return candidate;
  return std::nullopt;
}

namespace detail {

/// `std::optional`, and what says of itself that it is one.
template <class T>
    struct OptionalTraits : std::bool_constant < requires {
  requires T::isOptional;
} > {};
template <class T>
struct OptionalTraits<std::optional<T>> : std::true_type {};
template <class T>
inline constexpr bool isOptional = OptionalTraits<T>::value;

template <class T>
struct ListTraits : std::false_type {};
template <class T>
struct ListTraits<std::vector<T>> : std::true_type {};

template <class T>
struct MapTraits : std::false_type {};
template <class T, class Less>
struct MapTraits<std::map<std::string, T, Less>> : std::true_type {};

/// The positions of keys in their ascending order.
template <std::size_t count>
constexpr std::array<std::size_t, count> sortedPositions(const std::array<std::string_view, count>& keys) {
  std::array<std::size_t, count> positions{};
  for (std::size_t i = 0; i < count; ++i) positions[i] = i;
  for (std::size_t i = 1; i < count; ++i)
    for (std::size_t j = i; j > 0 && keys[positions[j]] < keys[positions[j - 1]]; --j)
      std::swap(positions[j], positions[j - 1]);
  return positions;
}

}  // namespace detail

/// Writes one value of any codable type.
template <class T>
void encodeValue(Writer& writer, const T& value) {
  if constexpr (std::same_as<T, bool>) {
    writer.boolean(value);
  } else if constexpr (std::signed_integral<T>) {
    writer.integer(value);
  } else if constexpr (std::unsigned_integral<T>) {
    writer.unsignedInteger(value);
  } else if constexpr (std::floating_point<T>) {
    writer.number(value);
  } else if constexpr (std::same_as<T, std::string>) {
    writer.string(value);
  } else if constexpr (std::same_as<T, Date>) {
    writer.string(iso8601(value));
  } else if constexpr (std::same_as<T, UUID>) {
    writer.string(value.text());
  } else if constexpr (EncodableByMember<T>) {
    value.encode(writer);
  } else if constexpr (CodableEnum<T>) {
    writer.string(textOf(value));
  } else if constexpr (detail::isOptional<T>) {
    value ? encodeValue(writer, *value) : writer.null();
  } else if constexpr (detail::ListTraits<T>::value || std::same_as<T, std::set<std::string>>) {
    writer.beginArray();
    for (const auto& element : value) encodeValue(writer, element);
    writer.endArray();
  } else if constexpr (detail::MapTraits<T>::value) {
    writer.beginObject();
    for (const auto& [key, element] : value) {
      writer.key(key);
      encodeValue(writer, element);
    }
    writer.endObject();
  } else {
    static_assert(CodableRecord<T>, "this type does not state its fields");
    static constexpr auto fields = T::fields();
    static constexpr auto order = detail::sortedPositions(fields.keys());
    writer.beginObject();
    const auto put = [&](const auto& each) {
      const auto& member = value.*(each.member);
      if constexpr (detail::isOptional<std::remove_cvref_t<decltype(member)>>)
        if (!member) return;
      writer.key(each.key);
      encodeValue(writer, member);
    };
    [&]<std::size_t... I>(std::index_sequence<I...>) { (put(fieldAt<order[I]>(fields)), ...); }
    (std::make_index_sequence<order.size()>{});
    writer.endObject();
  }
}

template <class T>
T decodeValue(View view);

namespace detail {

template <class T>
T decodeInteger(View view) {
  if (const auto value = view.int64(); value && std::in_range<T>(*value)) return static_cast<T>(*value);
  if (const auto value = view.uint64(); value && std::in_range<T>(*value)) return static_cast<T>(*value);
  const bool isInteger = view.int64() || view.uint64();
  throw DecodingError("", isInteger ? "the integer is out of range" : "not an integer");
}

/// Whether a field of the record has a second key.
template <class T>
constexpr bool hasSecondKeys() {
  return T::fields().apply([](const auto&... each) { return (!each.secondKey.empty() || ...); });
}

/// Puts the values that stand under the second keys of a record's fields where there is none yet.
template <class T, class Found>
void findSecondKeys(View view, Found& found) {
  static constexpr auto fields = T::fields();
  Found second;
  for (const auto named : view.members())
    fields.apply([&](const auto&... each) {
      std::size_t position = 0;
      static_cast<void>(
          ((!each.secondKey.empty() && each.secondKey == named.key ? (second[position] = named.value, true)
                                                                   : (++position, false)) ||
           ...));
    });
  for (std::size_t i = 0; i < found.size(); ++i)
    if (second[i] && (!found[i] || found[i]->isNull())) found[i] = second[i];
}

/// The values of a record's fields, by position; of a repeated key the last. Throws `DecodingError` for what
/// is no object.
template <class T>
auto findFields(View view) {
  if (!view.isObject()) throw DecodingError("", "not an object");
  static constexpr auto fields = T::fields();
  std::array<std::optional<View>, fields.size> found;
  for (const auto named : view.members())
    fields.apply([&](const auto&... each) {
      std::size_t position = 0;
      // Keys are known when this is compiled, so that most compares are one of lengths.
      static_cast<void>(
          ((each.key == named.key ? (found[position] = named.value, true) : (++position, false)) || ...));
    });
  if constexpr (hasSecondKeys<T>()) findSecondKeys<T>(view, found);
  return found;
}

template <class Member>
constexpr bool mayBeAbsent() {
  if constexpr (requires { Member::mayBeAbsent; })
    return Member::mayBeAbsent;
  else
    return isOptional<Member>;
}

/// Whether a field has a value. Throws `DecodingError` when it must have one and hasn't.
template <class Member>
bool isGiven(std::string_view key, const std::optional<View>& value) {
  if (value && !value->isNull()) return true;
  if (!mayBeAbsent<Member>())
    throw DecodingError(std::string(key), value ? "null for a required field" : "missing");
  return false;
}

template <class T>
T decodeRecord(View view) {
  static constexpr auto fields = T::fields();
  const auto found = findFields<T>(view);
  T record{};
  fields.forEach([&](const auto& each, std::size_t index) {
    const auto& value = found[index];
    auto& member = record.*(each.member);
    using Member = std::remove_cvref_t<decltype(member)>;
    if (!isGiven<Member>(each.key, value)) return;
    try {
      if constexpr (isOptional<Member>)
        member = decodeValue<typename Member::value_type>(*value);
      else
        member = decodeValue<Member>(*value);
    } catch (const DecodingError& error) {
      throw error.below(each.key);
    }
  });
  return record;
}

}  // namespace detail

/// Reads one value of any codable type. Throws `DecodingError`.
template <class T>
T decodeValue(View view) {
  const auto required = [](auto value, const char* problem) {
    if (!value) throw DecodingError("", problem);
    return *value;
  };
  if constexpr (detail::isOptional<T>) {
    if (view.isNull()) return std::nullopt;
    return decodeValue<typename T::value_type>(view);
  } else if constexpr (std::same_as<T, bool>) {
    return required(view.boolean(), "not a truth value");
  } else if constexpr (std::integral<T>) {
    return detail::decodeInteger<T>(view);
  } else if constexpr (std::floating_point<T>) {
    return required(view.number(), "not a number");
  } else if constexpr (std::same_as<T, std::string>) {
    return T(required(view.string(), "not a text"));
  } else if constexpr (std::same_as<T, Date>) {
    return required(parseISO8601(required(view.string(), "not a date")), "not an ISO 8601 date");
  } else if constexpr (std::same_as<T, UUID>) {
    return required(UUID::parse(required(view.string(), "not a UUID")), "not a UUID");
  } else if constexpr (DecodableByMember<T>) {
    return T::decode(view);
  } else if constexpr (CodableEnum<T>) {
    return required(enumFromText<T>(required(view.string(), "not a text")), "an unknown value");
  } else if constexpr (detail::ListTraits<T>::value || std::same_as<T, std::set<std::string>>) {
    if (!view.isArray()) throw DecodingError("", "not an array");
    T list;
    std::size_t index = 0;
    for (const View element : view.elements()) {
      try {
        list.insert(list.end(), decodeValue<typename T::value_type>(element));
      } catch (const DecodingError& error) {
        throw error.below(index);
      }
      ++index;
    }
    return list;
  } else if constexpr (detail::MapTraits<T>::value) {
    if (!view.isObject()) throw DecodingError("", "not an object");
    std::map<std::string_view, View> last;
    for (const auto [key, element] : view.members()) last.insert_or_assign(key, element);
    T map;
    for (const auto& [key, element] : last) {
      try {
        map.emplace(key, decodeValue<typename T::mapped_type>(element));
      } catch (const DecodingError& error) {
        throw error.below(key);
      }
    }
    return map;
  } else {
    static_assert(CodableRecord<T>, "this type does not state its fields");
    return detail::decodeRecord<T>(view);
  }
}

/// Encodes whole documents in one rendering.
class Encoder {
 public:
  explicit Encoder(Rendering rendering) : rendering_(rendering) {}

  template <class T>
  Bytes encode(const T& value) const {
    Writer writer(rendering_);
    encodeValue(writer, value);
    return writer.take();
  }

 private:
  Rendering rendering_;
};

/// Decodes whole documents. Throws `ParseError` for what is not JSON and `DecodingError` for another shape.
class Decoder {
 public:
  template <class T>
  T decode(std::string_view bytes) const {
    const auto document = Document::parse(bytes);
    return decodeValue<T>(document->root());
  }

  /// Nothing instead of an error.
  template <class T>
  std::optional<T> tryDecode(std::string_view bytes) const {
    try {
      return decode<T>(bytes);
    } catch (const Error&) {
      return std::nullopt;
    }
  }
};

}  // namespace platform::json
