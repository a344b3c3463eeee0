#pragma once

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

namespace orvik::test {

/// A variable of this process's environment while this lives; what was there comes back.
class ScopedVariable {
 public:
  /// Nothing takes the variable away.
  explicit ScopedVariable(std::string name, const std::optional<std::string>& value = {})
      : name_(std::move(name)) {
    if (const char* text = std::getenv(name_.c_str())) before_ = text;
    set(value);
  }
  ~ScopedVariable() { set(before_); }
  ScopedVariable(const ScopedVariable&) = delete;
  ScopedVariable& operator=(const ScopedVariable&) = delete;

  void set(const std::optional<std::string>& value) const {
    if (value)
      ::setenv(name_.c_str(), value->c_str(), 1);
    else
      ::unsetenv(name_.c_str());
  }

 private:
  std::string name_;
  std::optional<std::string> before_;
};

}  // namespace orvik::test
