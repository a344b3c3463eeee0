#pragma once

namespace platform::locale {

/// Whether a Unicode scalar steers what shows a text rather than being shown: C0, DEL and C1, the separators
/// of lines and paragraphs, and the bidirectional controls (UAX #9, 2), which make a text read as another.
bool isControl(char32_t scalar) noexcept;

/// Whether it is one of the three directional marks, the controls that stand in ordinary text of
/// right-to-left scripts and turn only the neutral characters beside them.
bool isDirectionalMark(char32_t scalar) noexcept;

}  // namespace platform::locale
