#include "orvik/Output/Paint.h"

#include <fmt/format.h>

namespace orvik::host {

namespace {

std::string_view parameters(Paint::Ink ink) {
  switch (ink) {
    case Paint::Ink::strong:
      return "1";
    case Paint::Ink::faint:
      return "2";
    case Paint::Ink::good:
      return "1;32";
    case Paint::Ink::warning:
      return "1;33";
    case Paint::Ink::bad:
      return "1;31";
    case Paint::Ink::match:
      break;
  }
  return "7";
}

}  // namespace

std::string Paint::operator()(Ink ink, std::string_view text) const {
  if (!colours_ || text.empty()) return std::string(text);
  return fmt::format("\x1b[{}m{}\x1b[0m", parameters(ink), text);
}

}  // namespace orvik::host
