#include "Platform/Files/SecretFile.h"

#include <fcntl.h>
#include <poll.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <optional>

#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Files/FaultSeam.h"

namespace platform::files {

namespace {

/// Milliseconds that a stop goes unnoticed at most.
constexpr int pollInterval = 50;

struct Descriptor {
  int number;
  ~Descriptor() { ::close(number); }
};

/// Reads to the end, or until `isDone` says so of what came so far.
template <std::size_t PieceSize, class IsDone>
SecretString readPieces(int descriptor, std::size_t limit, const std::string& what,
                        const std::stop_token& stop, const IsDone& isDone) {
  std::array<char, PieceSize> piece;
  std::string text;
  text.reserve(limit + piece.size());  // a growing text would leave copies of the secret behind
  std::optional<std::string> problem;
  while (!problem && !stop.stop_requested() && !isDone(text)) {
    pollfd wait{descriptor, POLLIN, 0};
    if (::poll(&wait, 1, pollInterval) <= 0) continue;
    const ssize_t count = ::read(descriptor, piece.data(), piece.size());
    if (count == 0) break;
    if (count < 0 && errno != EINTR && errno != EAGAIN) problem = ::strerror(errno);
    if (count > 0) text.append(piece.data(), static_cast<std::size_t>(count));
    if (text.size() > limit) problem = "it is longer than " + std::to_string(limit) + " bytes";
  }
  ::explicit_bzero(piece.data(), piece.size());
  SecretString secret(std::move(text));
  throwIfCancelled(stop);
  if (problem) throw Error("Can't read " + what + ": " + *problem);
  return secret;
}

}  // namespace

SecretString readSecretly(int descriptor, std::size_t limit, const std::string& what,
                          const std::stop_token& stop) {
  return readPieces<4096>(descriptor, limit, what, stop, [](const std::string&) { return false; });
}

SecretString readLineSecretly(int descriptor, std::size_t limit, const std::string& what,
                              const std::stop_token& stop) {
  // Byte by byte: what stands behind the line is another reader's.
  const auto text = readPieces<1>(descriptor, limit, what, stop,
                                  [](const std::string& line) { return line.ends_with('\n'); });
  std::string_view line = text.reveal();
  if (line.ends_with('\n')) {
    line.remove_suffix(1);
    if (line.ends_with('\r')) line.remove_suffix(1);
  }
  return SecretString(std::string(line));
}

SecretString readSecretFile(const Path& path, std::size_t limit, Exposure exposure,
                            const std::stop_token& stop) {
  const Descriptor file{::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK)};
  if (file.number < 0) throwFileError("read", path, errno);
  struct stat about {};
  if (::fstat(file.number, &about) < 0) throwFileError("look at", path, errno);
  if (exposure == Exposure::refused && (about.st_mode & 0077) != 0)
    throw ExposedFileError("Others than its owner have a right to the file " + path.string());
  return readSecretly(file.number, limit, path.string(), stop);
}

void writeSecretFile(const Path& path, const SecretString& secret) {
  int code = passFaultSeam();
  if (code != 0) throwFileError("make", path, code);
  const Descriptor file{::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600)};
  if (file.number < 0) throwFileError("make", path, errno);
  for (auto rest = secret.reveal(); !rest.empty();) {
    if (code = passFaultSeam(); code != 0) throwFileError("write", path, code);
    const ssize_t count = ::write(file.number, rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) throwFileError("write", path, errno);
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace platform::files
