#include "bench/ProgramCost.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "bench/Measure.h"

namespace bench {

ProgramCost costOf(std::vector<std::string> words) {
  ProgramCost cost;
  rusage usage{};
  int status = 0;
  cost.seconds = secondsOf([&] {
    const pid_t child = fork();
    if (child == 0) {
      dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
      std::vector<char*> arguments;
      for (auto& word : words) arguments.push_back(word.data());
      arguments.push_back(nullptr);
      execv(arguments[0], arguments.data());
      _exit(127);
    }
    wait4(child, &status, 0, &usage);
  });
  if (status != 0) throw std::runtime_error(words[0] + " " + words[1] + " failed");
  const auto secondsIn = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
  };
  cost.processor = secondsIn(usage.ru_utime) + secondsIn(usage.ru_stime);
  cost.peak = static_cast<std::int64_t>(usage.ru_maxrss) * 1024;
  return cost;
}

}  // namespace bench
