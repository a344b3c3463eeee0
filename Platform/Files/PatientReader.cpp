#include "Platform/Files/PatientReader.h"

#include <cerrno>
#include <exception>
#include <thread>
#include <utility>

#include "Platform/Concurrency/Thread.h"
#include "Platform/Files/Descriptor.h"

namespace platform::files {

namespace {

constexpr std::size_t pieceSize = 1 << 20;
constexpr std::size_t mostAhead = 4 << 20;

PatientReader::Work readingOf(const Path& path) {
  return [path](StreamWriter<Bytes>& pieces) {
    struct stat status;
    const Descriptor file = openForReading(path, status);
    while (true) {
      Bytes piece(pieceSize, '\0');
      const auto got = readOnce(file.number(), piece.data(), piece.size());
      if (got < 0) throwFileError("read", path, errno);
      if (got == 0) return;
      piece.resize(static_cast<std::size_t>(got));
      if (!pieces.push(std::move(piece), static_cast<std::size_t>(got))) return;
    }
  };
}

/// A failure must have left its handler before it is handed over: it belongs to the reader then.
std::exception_ptr failureOf(const PatientReader::Work& work, StreamWriter<Bytes>& pieces) noexcept {
  try {
    work(pieces);
    return {};
  } catch (...) {
    return std::current_exception();
  }
}

/// Nobody joins the thread: it may never come back from a call of the system.
StreamReader<Bytes> startReading(PatientReader::Work work) {
  BoundedStream<Bytes> stream(mostAhead);
  std::thread([work = std::move(work), pieces = std::move(stream.writer)]() mutable {
    nameThisThread("orvik-mount");
    pieces.finish(failureOf(work, pieces));
  }).detach();
  return std::move(stream.reader);
}

}  // namespace

PatientReader::PatientReader(Path path, std::chrono::milliseconds patience)
    : PatientReader(path, patience, readingOf(path)) {}

PatientReader::PatientReader(Path path, std::chrono::milliseconds patience, Work work)
    : path_(std::move(path)), patience_(patience), pieces_(startReading(std::move(work))) {}

std::optional<Bytes> PatientReader::next(const std::stop_token& stop) {
  if (!pieces_.waitUntil(MonotonicClock::now() + patience_, stop)) throwFileError("read", path_, ETIMEDOUT);
  return pieces_.next(stop);
}

}  // namespace platform::files
