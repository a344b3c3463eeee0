#include "Platform/SecretString.h"

#include <string.h>

#include <utility>

namespace platform {

// A moved-from short string keeps its bytes in its inline buffer, so every move is followed by a wipe of the
// source.

SecretString::SecretString(std::string&& value) noexcept : value_(std::move(value)) { platform::wipe(value); }

SecretString::SecretString(const std::string& value) : value_(value) {}

SecretString::SecretString(SecretString&& other) noexcept : value_(std::move(other.value_)) { other.wipe(); }

SecretString& SecretString::operator=(SecretString&& other) noexcept {
  if (this == &other) return *this;
  wipe();
  value_ = std::move(other.value_);
  other.wipe();
  return *this;
}

SecretString::~SecretString() { wipe(); }

void SecretString::wipe() noexcept { platform::wipe(value_); }

void wipe(std::string& text) noexcept {
  text.resize(text.capacity());
  explicit_bzero(text.data(), text.size());
  text.clear();
}

}  // namespace platform
