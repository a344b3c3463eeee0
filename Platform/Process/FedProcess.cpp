#include "Platform/Process/FedProcess.h"

#include <string.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <utility>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Concurrency/Thread.h"
#include "Platform/Error.h"

namespace platform {

namespace {

/// Longer than anybody feeds a program.
constexpr std::chrono::hours patience{24 * 365};

/// Sockets instead of a pipe: a write to one that nobody reads can be told to raise no signal.
std::pair<int, int> connectedEnds() {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) throw Error(::strerror(errno));
  return {ends[0], ends[1]};
}

void append(std::string& text, std::string_view piece) {
  text += piece.substr(0, std::min(piece.size(), FedProcess::outputLimit - text.size()));
}

}  // namespace

FedProcess::FedProcess(CapturedProcess program, const std::stop_token& stop)
    : FedProcess(std::move(program), stop, connectedEnds()) {}

FedProcess::FedProcess(CapturedProcess program, const std::stop_token& stop, std::pair<int, int> ends)
    : input_(ends.first), forward_(stop, [this] { source_.request_stop(); }) {
  program.inputDescriptor = ends.second;
  program.timeout = patience;
  thread_ = std::jthread([this, fed = std::move(program)] { run(fed); });
}

FedProcess::~FedProcess() {
  source_.request_stop();
  input_.close();
}

void FedProcess::run(const CapturedProcess& program) {
  nameThisThread("fed process");
  try {
    const auto take = [this](std::string_view piece, bool isError) {
      append(isError ? end_.errors : end_.output, piece);
    };
    end_.status = program.run(take, source_.get_token()).status;
  } catch (...) {
    failure_ = std::current_exception();
  }
}

void FedProcess::join() {
  if (thread_.joinable()) thread_.join();
  if (failure_) std::rethrow_exception(failure_);
}

bool FedProcess::write(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = ::send(input_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) {
      if (source_.stop_requested()) join();
      return false;
    }
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

FedProcess::End FedProcess::finish() {
  input_.close();
  join();
  return std::move(end_);
}

}  // namespace platform
