#include "Platform/HTTP/HTTPSession.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Platform/Files/Files.h"
#include "Platform/HTTP/HTTPHandle.h"
#include "Platform/HTTP/HTTPLoop.h"
#include "Platform/HTTP/HTTPTransfer.h"

namespace platform {

namespace detail {

UploadFile::UploadFile(const std::filesystem::path& path)
    : descriptor_(::open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (descriptor_ < 0) files::throwFileError("read", path, errno);
  struct stat about {};
  int problem = ::fstat(descriptor_, &about) == 0 ? 0 : errno;
  if (problem == 0 && !S_ISREG(about.st_mode)) problem = S_ISDIR(about.st_mode) ? EISDIR : EINVAL;
  if (problem != 0) {
    ::close(descriptor_);
    files::throwFileError("read", path, problem);
  }
  size_ = about.st_size;
}

UploadFile::~UploadFile() { ::close(descriptor_); }

std::int64_t UploadFile::read(char* buffer, std::size_t capacity) noexcept {
  const auto left = static_cast<std::uint64_t>(size_ - position_);
  ssize_t count = 0;
  do {
    count = ::pread(descriptor_, buffer, std::min<std::uint64_t>(capacity, left), position_);
  } while (count < 0 && errno == EINTR);
  if (count > 0) position_ += count;
  return count;
}

bool UploadFile::seek(std::int64_t position) noexcept {
  if (position < 0 || position > size_) return false;
  position_ = position;
  return true;
}

}  // namespace detail

namespace {

bool sameHeaderName(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

}  // namespace

std::optional<std::string_view> HTTPResponse::header(std::string_view name) const {
  for (const auto& [candidate, value] : headers)
    if (sameHeaderName(candidate, name)) return value;
  return std::nullopt;
}

HTTPSession::HTTPSession(HTTPSessionConfiguration configuration)
    : loop_(std::make_unique<Loop>(std::move(configuration))) {}

HTTPSession::~HTTPSession() = default;

const HTTPSessionConfiguration& HTTPSession::configuration() const noexcept { return loop_->configuration(); }

HTTPResponse HTTPSession::data(HTTPRequest request, const std::stop_token& stop) {
  auto transfer = std::make_shared<detail::HTTPTransfer>();
  transfer->request = std::move(request);
  return exchange(std::move(transfer), stop);
}

HTTPResponse HTTPSession::upload(HTTPRequest request, const std::filesystem::path& file,
                                 const UploadProgress& progress, const std::stop_token& stop) {
  auto transfer = std::make_shared<detail::HTTPTransfer>();
  transfer->request = std::move(request);
  transfer->file.emplace(file);
  transfer->progress = progress;
  return exchange(std::move(transfer), stop);
}

HTTPSession::Stream HTTPSession::stream(HTTPRequest request, std::shared_ptr<HTTPStreamDelegate> delegate) {
  auto transfer = std::make_shared<detail::HTTPTransfer>();
  transfer->request = std::move(request);
  transfer->delegate = std::move(delegate);
  loop_->submit(transfer);
  return {*loop_, std::move(transfer)};
}

HTTPSession::Stream::~Stream() {
  if (transfer_) cancel();
}

void HTTPSession::Stream::cancel() noexcept { loop_->cancel(transfer_); }

HTTPResponse HTTPSession::exchange(std::shared_ptr<detail::HTTPTransfer> transfer,
                                   const std::stop_token& stop) {
  if (stop.stop_requested()) throw detail::cancelledError(*transfer);
  loop_->submit(transfer);
  {
    const std::stop_callback cancel(stop, [&] { loop_->cancel(transfer); });
    transfer->wait();
  }
  wipe(transfer->request.body);
  if (transfer->failure) throw HTTPError(std::move(*transfer->failure));
  return std::move(transfer->response);
}

}  // namespace platform
