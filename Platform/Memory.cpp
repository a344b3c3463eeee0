#include "Platform/Memory.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>

namespace platform {

namespace {

std::atomic<const char*> name{nullptr};
std::atomic<std::terminate_handler> former{nullptr};

void write(const char* text) noexcept {
  [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, std::strlen(text));
}

[[noreturn]] void end() noexcept {
  try {
    if (const auto failure = std::current_exception()) std::rethrow_exception(failure);
  } catch (const std::bad_alloc&) {
    write(name);
    write(": There is no memory left.\n");
    ::_exit(1);
  } catch (...) {
    if (const auto handler = former.load()) handler();
    std::abort();
  }
  // A function that may not throw had to, and nobody can tell what: most likely what stands above.
  write(name);
  write(": It ends at once: there is no memory left, or the program has a fault.\n");
  ::_exit(1);
}

}  // namespace

void tellWhenMemoryEnds(const char* program) noexcept {
  name = program;
  if (std::get_terminate() != end) former = std::set_terminate(end);
}

}  // namespace platform
