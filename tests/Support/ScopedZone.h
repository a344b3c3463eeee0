#pragma once

#include <ctime>
#include <optional>
#include <string>

#include "tests/Support/ScopedVariable.h"

namespace orvik::test {

/// The time zone of this process while this lives; the one before holds again afterwards. The variable alone
/// isn't enough: the C library keeps the zone that it read last, until something reads it anew at a time
/// nobody chose.
class ScopedZone {
 public:
  /// Of the time zone database ("Europe/Berlin"), or a rule of POSIX ("CET-1CEST,M3.5.0,M10.5.0/3").
  explicit ScopedZone(const std::string& name) { set(name); }
  ~ScopedZone() {
    variable_.reset();
    ::tzset();
  }
  ScopedZone(const ScopedZone&) = delete;
  ScopedZone& operator=(const ScopedZone&) = delete;

  void set(const std::string& name) const {
    variable_->set(name);
    ::tzset();
  }

 private:
  std::optional<ScopedVariable> variable_{std::in_place, "TZ"};
};

}  // namespace orvik::test
