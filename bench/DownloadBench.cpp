// A download of a large file from a server on this machine beside `curl -o` of the same, as a ratio of times,
// each in a process of its own; and the peak memory of ours. Alternating; medians.
// Usage: DownloadBench [folder] [mebibytes] [rounds]
#include <fmt/format.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "OrvikCore/Jamf/FileDownloader.h"
#include "OrvikCore/Jamf/PartRecord.h"
#include "Platform/Files/Files.h"
#include "Platform/TCP/Listener.h"
#include "bench/Measure.h"

namespace {

namespace files = platform::files;

/// Answers every request with so many mebibytes.
[[noreturn]] void serve(platform::TCPListener& listener, std::size_t mebibytes) {
  const std::string piece(1 << 20, 'x');
  while (const auto connection = listener.accept()) {
    platform::Bytes head;
    while (head.find("\r\n\r\n") == std::string::npos && connection->read(head)) {
    }
    connection->write(
        fmt::format("HTTP/1.1 200 OK\r\nContent-Length: {}\r\nConnection: close\r\n\r\n", mebibytes << 20));
    for (std::size_t i = 0; i < mebibytes && connection->write(piece); ++i) {
    }
  }
  std::_Exit(0);
}

void download(const std::string& url, const files::Path& to) {
  const orvik::FileDownloader downloader{orvik::RetryPolicy::none, nullptr, {}};
  downloader.download(
      to, "bench",
      [&](const std::stop_token&) {
        platform::HTTPRequest request;
        request.url = url;
        return request;
      },
      [](std::int64_t) {});
}

struct Trial {
  double seconds = 0;
  long peak = 0;  ///< bytes
};

/// `work` in a process of its own, which leaves the whole file.
template <class Work>
Trial trialOf(const files::Path& file, std::size_t mebibytes, const Work& work) {
  Trial trial;
  rusage usage{};
  int status = 0;
  trial.seconds = bench::secondsOf([&] {
    const pid_t child = fork();
    if (child == 0) {
      work();
      std::_Exit(0);
    }
    wait4(child, &status, 0, &usage);
  });
  if (status != 0 || files::size(file) != static_cast<std::int64_t>(mebibytes << 20))
    throw std::runtime_error("the file is not whole");
  orvik::removePart(file);
  trial.peak = usage.ru_maxrss * 1024;
  return trial;
}

}  // namespace

int main(int count, char** arguments) {
  const files::Path parent = count > 1 ? arguments[1] : "/tmp";
  const std::size_t mebibytes = count > 2 ? std::strtoul(arguments[2], nullptr, 10) : 2048;
  const int rounds = count > 3 ? std::atoi(arguments[3]) : 5;
  const auto file = parent / fmt::format("orvik-download-{}", getpid());

  platform::TCPListener listener;
  const auto url = fmt::format("http://127.0.0.1:{}/file", listener.port());
  const pid_t server = fork();
  if (server == 0) serve(listener, mebibytes);

  std::vector<double> curl, ours;
  long peak = 0;
  for (int i = 0; i < rounds; ++i) {
    curl.push_back(trialOf(file, mebibytes, [&] {
                     execlp("curl", "curl", "-s", "--noproxy", "*", "-o", file.c_str(), url.c_str(), nullptr);
                     std::_Exit(127);
                   }).seconds);
    const auto trial = trialOf(file, mebibytes, [&] { download(url, file); });
    ours.push_back(trial.seconds);
    peak = std::max(peak, trial.peak);
  }
  kill(server, SIGKILL);
  waitpid(server, nullptr, 0);
  fmt::print("{} MiB: curl -o {:.3f} s, download {:.3f} s: {:.2f} times; peak memory {} MiB (at most 64)\n",
             mebibytes, bench::median(curl), bench::median(ours), bench::median(ours) / bench::median(curl),
             peak >> 20);
}
