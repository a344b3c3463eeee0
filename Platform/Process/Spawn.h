#pragma once

#include <sys/types.h>

#include <span>
#include <string>
#include <vector>

namespace platform {

/// An open descriptor of this process, closed when it goes.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int number() const { return number_; }
  bool isOpen() const { return number_ >= 0; }
  void close();

 private:
  int number_;
};

/// A descriptor of this process under the number that it has in a child.
struct Redirection {
  int from;
  int to;
};

/// The texts as the system takes them: pointers into them, a null behind the last.
std::vector<char*> systemTexts(const std::vector<std::string>& texts);

/// Whether a program gets the signals that a terminal sends, as when somebody presses Ctrl-C there.
enum class TerminalSignals { heard, unheard };

/// Starts a program with no signal blocked and a broken pipe as the system's default has it; `words` begin
/// with its name. Throws `Error` with the system's words.
pid_t spawn(const std::string& path, const std::vector<std::string>& words, char* const* environment,
            std::span<const Redirection> redirections, TerminalSignals signals = TerminalSignals::heard);

}  // namespace platform
