#pragma once

#include <string>
#include <string_view>

namespace platform {

/// A secret in memory: it wipes itself when it goes, can be moved but not copied, and has no way into a
/// stream, a log or JSON except through the deliberate `reveal()`.
class SecretString {
 public:
  SecretString() = default;
  /// Takes the text and wipes where it was.
  explicit SecretString(std::string&& value) noexcept;
  /// A copy; the original stays the caller's to wipe.
  explicit SecretString(const std::string& value);
  SecretString(SecretString&& other) noexcept;
  SecretString& operator=(SecretString&& other) noexcept;
  SecretString(const SecretString&) = delete;
  SecretString& operator=(const SecretString&) = delete;
  ~SecretString();

  /// The secret itself, valid while this object lives. Callers hand it to the one place that needs it.
  std::string_view reveal() const noexcept { return value_; }
  bool empty() const noexcept { return value_.empty(); }

 private:
  void wipe() noexcept;
  std::string value_;
};

/// Overwrites the bytes of `text`, spare capacity included, in a way that the compiler keeps, and empties it.
void wipe(std::string& text) noexcept;

}  // namespace platform
