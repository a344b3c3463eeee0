#pragma once

#include <optional>
#include <string_view>

#include "Platform/Bytes.h"

namespace platform::json {

/// The canonical text of JSON bytes, which decides names on disk and never changes:
/// the `pretty` rendering with keys ascending by their UTF-8 bytes at every depth, of a repeated key the
/// last; numbers as `appendNumber` and its siblings write them; all but quote, backslash and control
/// characters literal. Nothing when `bytes` is not JSON (see View.h for what counts).
///
/// The canonical text of a canonical text is itself, with one exception: "-0.0" gives "-0", which is the
/// integer 0 when it is read again.
///
/// Reuses one parser and one buffer per thread; nothing of a document above 16 MiB is held beyond the call.
/// Throws `Error` when memory runs out or the text would pass 1 GiB, which a small document of deep nesting
/// can bring about.
std::optional<Bytes> canonical(std::string_view bytes);

/// The same. Bytes with 64 bytes of unused capacity behind them are parsed where they stand; a transport that
/// reserves them saves a copy.
std::optional<Bytes> canonical(const Bytes& bytes);
inline std::optional<Bytes> canonical(const char* text) { return canonical(std::string_view(text)); }

/// Whether `bytes` is JSON: the parse of `canonical` alone, by which its cost is measured.
bool validate(std::string_view bytes);
bool validate(const Bytes& bytes);
inline bool validate(const char* text) { return validate(std::string_view(text)); }

}  // namespace platform::json
