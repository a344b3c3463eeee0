#include "Platform/Process/Spawn.h"

#include <spawn.h>
#include <string.h>
#include <unistd.h>

#include <csignal>

#include "Platform/Error.h"

namespace platform {

void Descriptor::close() {
  if (number_ >= 0) ::close(number_);
  number_ = -1;
}

std::vector<char*> systemTexts(const std::vector<std::string>& texts) {
  std::vector<char*> result;
  for (const auto& text : texts) result.push_back(const_cast<char*>(text.c_str()));
  result.push_back(nullptr);
  return result;
}

pid_t spawn(const std::string& path, const std::vector<std::string>& words, char* const* environment,
            std::span<const Redirection> redirections, TerminalSignals signals) {
  sigset_t none, defaults;
  sigemptyset(&none);
  sigemptyset(&defaults);
  for (const int number : {SIGPIPE, SIGXFSZ}) sigaddset(&defaults, number);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigmask(&attributes, &none);
  posix_spawnattr_setsigdefault(&attributes, &defaults);
  // A terminal sends to the processes of one group; who is in a group of its own hears nothing of it.
  const int group = signals == TerminalSignals::unheard ? POSIX_SPAWN_SETPGROUP : 0;
  posix_spawnattr_setflags(&attributes,
                           static_cast<short>(POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | group));
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  for (const auto& [from, to] : redirections) posix_spawn_file_actions_adddup2(&actions, from, to);

  pid_t id = -1;
  const int error =
      posix_spawn(&id, path.c_str(), &actions, &attributes, systemTexts(words).data(), environment);
  posix_spawn_file_actions_destroy(&actions);
  posix_spawnattr_destroy(&attributes);
  if (error != 0) throw Error(::strerror(error));
  return id;
}

}  // namespace platform
