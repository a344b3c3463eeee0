#include "Platform/Concurrency/Thread.h"

#include <pthread.h>

#include <array>

namespace platform {

void nameThisThread(std::string_view name) noexcept {
  std::array<char, 16> text{};
  name.copy(text.data(), text.size() - 1);
  pthread_setname_np(pthread_self(), text.data());
}

}  // namespace platform
