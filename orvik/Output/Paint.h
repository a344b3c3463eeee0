#pragma once

#include <string>
#include <string_view>

namespace orvik::host {

/// Emphasis in text for people: control sequences around it (ECMA-48, 8.3.117), or none where no colours are
/// wanted.
class Paint {
 public:
  enum class Ink { strong, faint, good, warning, bad, match };

  explicit Paint(bool colours) : colours_(colours) {}

  std::string operator()(Ink ink, std::string_view text) const;

 private:
  bool colours_;
};

}  // namespace orvik::host
