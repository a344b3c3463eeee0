#pragma once

#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

namespace platform {

/// An optional value that lies on the heap: eight bytes when there is none. For records of many fields few of
/// which are filled, where `std::optional` takes the room of the value in any case. A value like any other:
/// copied deeply, compared by what it holds.
template <class T>
class Boxed {
 public:
  using value_type = T;
  static constexpr bool isOptional = true;

  Boxed() = default;
  Boxed(std::nullopt_t) {}
  Boxed(T value) : value_(std::make_unique<T>(std::move(value))) {}
  template <class Source>
  requires std::is_convertible_v<const Source&, T> &&(!std::is_same_v<Source, T>)Boxed(const Source& value)
      : Boxed(T(value)) {}
  Boxed(std::optional<T> value) {
    if (value) value_ = std::make_unique<T>(std::move(*value));
  }
  Boxed(const Boxed& other) : value_(other.value_ ? std::make_unique<T>(*other.value_) : nullptr) {}
  Boxed(Boxed&&) noexcept = default;
  Boxed& operator=(Boxed other) noexcept {
    value_ = std::move(other.value_);
    return *this;
  }
  ~Boxed() = default;

  explicit operator bool() const noexcept { return value_ != nullptr; }
  bool has_value() const noexcept { return value_ != nullptr; }
  const T& operator*() const { return *value_; }
  T& operator*() { return *value_; }
  const T* operator->() const { return value_.get(); }
  T* operator->() { return value_.get(); }

  T value_or(T otherwise) const { return value_ ? *value_ : std::move(otherwise); }
  /// A copy on the stack.
  std::optional<T> optional() const { return value_ ? std::optional<T>(*value_) : std::nullopt; }
  T& emplace(T value = {}) { return *(value_ = std::make_unique<T>(std::move(value))); }

  friend bool operator==(const Boxed& a, const Boxed& b) {
    return a.value_ && b.value_ ? *a.value_ == *b.value_ : a.value_ == b.value_;
  }

 private:
  std::unique_ptr<T> value_;
};

}  // namespace platform
