#pragma once

#include <memory>

namespace platform {

/// What is typed at the terminal of standard input is not shown while this lives; the line end is. Does
/// nothing where standard input is no terminal. One at a time, on any thread.
class HiddenTyping {
 public:
  HiddenTyping();
  ~HiddenTyping();
  HiddenTyping(const HiddenTyping&) = delete;
  HiddenTyping& operator=(const HiddenTyping&) = delete;

 private:
  struct Before;
  std::unique_ptr<const Before> before_;  ///< null: nothing to put back
};

}  // namespace platform
