#pragma once

#include <exception>
#include <string>
#include <utility>

namespace platform {

/// Root of every failure that is told to a person.
///
/// `description()` is the whole English sentence that an administrator sees; it names what failed and where.
/// Cancellation is no failure and has its own root (`CancellationError`).
class Error : public std::exception {
 public:
  explicit Error(std::string description) : description_(std::move(description)) {}

  const std::string& description() const noexcept { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  std::string description_;
};

}  // namespace platform
