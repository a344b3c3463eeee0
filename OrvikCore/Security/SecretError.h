#pragma once

#include <string>
#include <utility>

#include "TuvCore/Error.h"

namespace orvik {

/// Why a sealed value, a certificate or an organisation key can't be used. The text is shown behind
/// "Encrypted secret: ".
class SecretError : public tuv::Error {
 public:
  static SecretError crypto(std::string text) { return SecretError(std::move(text)); }

  const std::string& text() const noexcept { return text_; }
  bool operator==(const SecretError& other) const noexcept { return text_ == other.text_; }

 private:
  explicit SecretError(std::string text) : Error("Encrypted secret: " + text), text_(std::move(text)) {}
  std::string text_;
};

}  // namespace orvik
