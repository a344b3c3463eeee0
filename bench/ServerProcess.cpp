#include "bench/ServerProcess.h"

#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <stdexcept>

#include "SampleServer/SampleServer.h"

namespace bench {

namespace {

[[noreturn]] void serve(sample::FleetSize size, std::FILE* in, std::FILE* out) {
  sample::SampleOptions options;
  options.size = size;
  options.log = sample::LogDetail::totals;
  options.tokenLifetime = std::chrono::hours(10);
  sample::SampleServer server(options);
  std::fprintf(out, "%s %s %s\n", server.url().c_str(), server.clientID().c_str(),
               server.clientSecret().c_str());
  std::fflush(out);
  char what = 0;
  long value = 0;
  for (std::uint64_t seed = 1; std::fscanf(in, " %c %ld", &what, &value) == 2; ++seed) {
    if (what == 'd') server.setDelay(std::chrono::microseconds(value));
    if (what == 'm') server.mutate(static_cast<std::size_t>(value), seed);
    std::fputs("ok\n", out);
    std::fflush(out);
  }
  std::_Exit(0);
}

}  // namespace

ServerProcess::ServerProcess(sample::FleetSize size) {
  int down[2], up[2];
  if (pipe(down) != 0 || pipe(up) != 0) throw std::runtime_error("pipe");
  child_ = fork();
  if (child_ == 0) {
    close(down[1]);
    close(up[0]);
    serve(size, fdopen(down[0], "r"), fdopen(up[1], "w"));
  }
  close(down[0]);
  close(up[1]);
  toChild_ = fdopen(down[1], "w");
  fromChild_ = fdopen(up[0], "r");
  char url[256], id[256], secret[256];
  if (std::fscanf(fromChild_, "%255s %255s %255s", url, id, secret) != 3)
    throw std::runtime_error("no server");
  url_ = url;
  clientID_ = id;
  clientSecret_ = secret;
}

ServerProcess::~ServerProcess() {
  std::fclose(toChild_);
  std::fclose(fromChild_);
  waitpid(child_, nullptr, 0);
}

void ServerProcess::command(char what, long value) {
  std::fprintf(toChild_, "%c %ld\n", what, value);
  std::fflush(toChild_);
  char answer[8];
  if (std::fscanf(fromChild_, "%7s", answer) != 1) throw std::runtime_error("the server is gone");
}

}  // namespace bench
