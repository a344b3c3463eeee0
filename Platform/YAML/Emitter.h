#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

#include "Platform/Error.h"
#include "Platform/JSON/Codable.h"

namespace platform::yaml {

/// A value that YAML can't hold, such as a text that is no UTF-8.
class EmitError : public Error {
 public:
  using Error::Error;
};

/// How a document looks. The default is the library's own: lines of 80 characters, letters beyond ASCII as
/// escapes.
struct EmitStyle {
  bool unicode = false;       ///< letters beyond ASCII as they are
  bool literalTexts = false;  ///< texts of several lines as blocks, where nothing of them is lost so
};

/// Writes one document, in the order of the calls. A text that plain YAML would read as something else is
/// quoted. Not for several threads. Throws `EmitError`.
class Emitter {
 public:
  explicit Emitter(EmitStyle style = {});
  ~Emitter();
  Emitter(const Emitter&) = delete;
  Emitter& operator=(const Emitter&) = delete;

  void beginMapping();
  void endMapping();
  void beginSequence();
  void endSequence();
  /// The next value's key.
  void key(std::string_view name) { text(name); }

  void text(std::string_view value);
  void boolean(bool value);
  void integer(std::int64_t value);

  /// Ends the document.
  std::string take();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

template <class T>
concept EncodableToEmitter = requires(const T& value, Emitter& emitter) {
  value.encode(emitter);
};

template <class T>
void encodeValue(Emitter& emitter, const T& value);

/// The members of a record in the order in which it states them, without what is absent.
template <json::CodableRecord T>
void encodeMembers(Emitter& emitter, const T& record) {
  T::fields().forEach([&](const auto& field, std::size_t /*index*/) {
    const auto& member = record.*(field.member);
    if constexpr (json::detail::isOptional<std::remove_cvref_t<decltype(member)>>) {
      if (!member) return;
      emitter.key(field.key);
      encodeValue(emitter, *member);
    } else {
      emitter.key(field.key);
      encodeValue(emitter, member);
    }
  });
}

template <class T>
void encodeValue(Emitter& emitter, const T& value) {
  if constexpr (EncodableToEmitter<T>) {
    value.encode(emitter);
  } else if constexpr (std::same_as<T, bool>) {
    emitter.boolean(value);
  } else if constexpr (std::signed_integral<T>) {
    emitter.integer(value);
  } else if constexpr (std::same_as<T, std::string>) {
    emitter.text(value);
  } else if constexpr (json::CodableEnum<T>) {
    emitter.text(json::textOf(value));
  } else if constexpr (json::detail::ListTraits<T>::value) {
    emitter.beginSequence();
    for (const auto& element : value) encodeValue(emitter, element);
    emitter.endSequence();
  } else {
    emitter.beginMapping();
    encodeMembers(emitter, value);
    emitter.endMapping();
  }
}

/// Writes a whole document.
template <class T>
std::string encode(const T& value, EmitStyle style = {}) {
  Emitter emitter(style);
  encodeValue(emitter, value);
  return emitter.take();
}

}  // namespace platform::yaml
