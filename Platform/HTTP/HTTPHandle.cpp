#include "Platform/HTTP/HTTPHandle.h"

#include <curl/curl.h>
#include <openssl/ssl.h>

#include <algorithm>
#include <string_view>

#include "Platform/HTTP/HTTPFailure.h"
#include "Platform/HTTP/HTTPStreaming.h"
#include "Platform/HTTP/URL.h"

namespace platform::detail {

namespace {

/// All headers of an exchange, those of redirects too.
constexpr std::size_t mostHeaderBytes = 300 << 10;
constexpr std::size_t readerPadding = 64;
constexpr std::size_t mostReserved = 64 << 20;
constexpr long receiveBuffer = 64 << 10;
constexpr long uploadBuffer = 256 << 10;
/// Bodies up to that size leave with the request's head, so that nothing needs watching.
constexpr std::size_t smallBody = 64 << 10;
/// Above it the server is asked first whether it wants the body ("Expect"), which costs a round trip.
constexpr std::int64_t expectAbove = 1 << 20;
constexpr long mostRedirects = 10;

template <class Value>
void set(HTTPTransfer& transfer, CURLoption option, Value value) {
  curl_easy_setopt(transfer.handle, option, value);
}

bool isControl(char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7f; }

bool equalWithoutCase(std::string_view a, std::string_view b) {
  const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [&](char x, char y) { return lower(x) == lower(y); });
}

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

// Callbacks. The library calls them on the loop's thread.

/// Ends the transfer: what comes is more than any server sends, and memory is finite.
void refuseLongAnswer(HTTPTransfer& transfer, std::string_view part) {
  transfer.failure.emplace(HTTPErrorKind::other, "The " + std::string(part) + " of " +
                                                     hostOf(transfer.request.url) + " is too long");
}

void takeHeader(HTTPTransfer& transfer, std::string_view line) {
  HTTPHeaders& headers = transfer.response.headers;
  if (line.starts_with("HTTP/")) {  // an interim answer or a redirect may have come before
    headers.clear();
    transfer.response.body.clear();
    transfer.headEnded = false;
  } else if (trimmed(line).empty()) {
    transfer.headEnded = true;
  } else if ((line.front() == ' ' || line.front() == '\t') && !headers.empty()) {
    headers.back().second.append(" ").append(trimmed(line));  // RFC 9112, 5.2: a folded line
  } else if (const auto colon = line.find(':'); colon != std::string_view::npos) {
    headers.emplace_back(trimmed(line.substr(0, colon)), trimmed(line.substr(colon + 1)));
  }
}

std::size_t receiveHeader(char* data, std::size_t size, std::size_t count, void* context) noexcept {
  auto& transfer = *static_cast<HTTPTransfer*>(context);
  transfer.touch();
  const std::string_view line(data, size * count);
  try {
    transfer.headerBytes += line.size();
    if (transfer.headerBytes > mostHeaderBytes) {
      refuseLongAnswer(transfer, "head of the answer");
      return 0;
    }
    if (transfer.headGiven) return line.size();  // a trailer
    takeHeader(transfer, line);
    if (transfer.delegate && transfer.headEnded && isFinalHead(transfer) && !passHeadOn(transfer)) return 0;
  } catch (const std::exception&) {  // out of memory
    return 0;
  }
  return line.size();
}

std::size_t expectedRoom(const HTTPTransfer& transfer) {
  curl_off_t announced = -1;
  curl_easy_getinfo(transfer.handle, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
  return announced > 0 ? std::min(static_cast<std::size_t>(announced), mostReserved) + readerPadding : 0;
}

std::size_t receiveBody(char* data, std::size_t size, std::size_t count, void* context) noexcept {
  auto& transfer = *static_cast<HTTPTransfer*>(context);
  transfer.touch();
  Bytes& body = transfer.response.body;
  const std::size_t length = size * count;
  try {
    if (transfer.delegate) return gather(transfer, {data, length}) ? length : 0;
    if (body.size() + length > transfer.mostBodyBytes) {
      refuseLongAnswer(transfer, "answer");
      return 0;
    }
    const std::size_t needed = body.size() + length + readerPadding;
    if (body.empty()) body.reserve(std::max(needed, expectedRoom(transfer)));
    if (needed > body.capacity()) body.reserve(std::max(needed, 2 * body.capacity()));
    body.append(data, length);
  } catch (const std::exception&) {  // out of memory
    return 0;
  }
  return length;
}

std::size_t readFile(char* buffer, std::size_t size, std::size_t count, void* context) noexcept {
  auto& transfer = *static_cast<HTTPTransfer*>(context);
  UploadFile& file = *transfer.file;
  const std::int64_t read = file.read(buffer, size * count);
  // A file that has shrunk would leave the server waiting for the rest.
  if (read < 0 || (read == 0 && file.position() < file.size())) {
    transfer.failure.emplace(HTTPErrorKind::other, "The file to upload could not be read to its end");
    return CURL_READFUNC_ABORT;
  }
  return static_cast<std::size_t>(read);
}

int seekFile(void* context, curl_off_t offset, int origin) noexcept {
  if (origin != SEEK_SET) return CURL_SEEKFUNC_CANTSEEK;
  return static_cast<HTTPTransfer*>(context)->file->seek(offset) ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

int watchSending(void* context, curl_off_t, curl_off_t, curl_off_t expected, curl_off_t sent) noexcept {
  auto& transfer = *static_cast<HTTPTransfer*>(context);
  if (sent == transfer.sent) return 0;
  transfer.sent = sent;
  transfer.touch();
  if (transfer.progress) transfer.progress(sent, transfer.file ? transfer.file->size() : expected);
  return 0;
}

int beginResolving(void*, void*, void* context) noexcept {
  static_cast<HTTPTransfer*>(context)->touch();
  return 0;
}

int configureSocket(void* context, curl_socket_t, curlsocktype) noexcept {
  static_cast<HTTPTransfer*>(context)->touch();
  return CURL_SOCKOPT_OK;
}

int beginRequest(void* context, char*, char*, int, int) noexcept {
  static_cast<HTTPTransfer*>(context)->touch();
  return CURL_PREREQFUNC_OK;
}

CURLcode addTrustAnchors(CURL*, void* context, void* configuration) noexcept {
  const auto& path = static_cast<const HTTPSessionConfiguration*>(configuration)->extraTrustAnchors;
  return SSL_CTX_load_verify_file(static_cast<SSL_CTX*>(context), path.c_str()) == 1
             ? CURLE_OK
             : CURLE_SSL_CACERT_BADFILE;
}

// Setting up.

bool addHeaderLine(HTTPTransfer& transfer, const std::string& line) {
  auto* const longer = curl_slist_append(static_cast<curl_slist*>(transfer.headerLines), line.c_str());
  if (longer) transfer.headerLines = longer;
  return longer != nullptr;
}

bool addHeaders(HTTPTransfer& transfer) {
  bool statesType = false;
  for (const auto& [name, value] : transfer.request.headers) {
    if (name.empty() || name.find_first_of(":; ") != std::string::npos ||
        std::any_of(name.begin(), name.end(), isControl) ||
        std::any_of(value.begin(), value.end(), [](char c) { return isControl(c) && c != '\t'; }))
      return false;
    statesType = statesType || equalWithoutCase(name, "Content-Type");
    // The library removes a header that ends in a colon and sends an empty one for a semicolon.
    if (!addHeaderLine(transfer, value.empty() ? name + ";" : name + ": " + value)) return false;
  }
  const std::int64_t length =
      transfer.file ? transfer.file->size() : static_cast<std::int64_t>(transfer.request.body.size());
  if (length <= expectAbove && !addHeaderLine(transfer, "Expect:")) return false;
  if (!statesType && !addHeaderLine(transfer, "Content-Type:")) return false;
  set(transfer, CURLOPT_HTTPHEADER, static_cast<curl_slist*>(transfer.headerLines));
  return true;
}

void setBody(HTTPTransfer& transfer) {
  const HTTPRequest& request = transfer.request;
  if (transfer.file) {
    set(transfer, CURLOPT_UPLOAD, 1L);
    set(transfer, CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(transfer.file->size()));
    set(transfer, CURLOPT_READFUNCTION, &readFile);
    set(transfer, CURLOPT_READDATA, &transfer);
    set(transfer, CURLOPT_SEEKFUNCTION, &seekFile);
    set(transfer, CURLOPT_SEEKDATA, &transfer);
    set(transfer, CURLOPT_UPLOAD_BUFFERSIZE, uploadBuffer);
    set(transfer, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  } else if (request.method == "HEAD") {
    set(transfer, CURLOPT_NOBODY, 1L);
  } else if (!followsRedirects(request)) {
    set(transfer, CURLOPT_POSTFIELDS, request.body.data());
    set(transfer, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
    set(transfer, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  } else {
    set(transfer, CURLOPT_FOLLOWLOCATION, 1L);
    set(transfer, CURLOPT_MAXREDIRS, mostRedirects);
  }
  if (transfer.file || request.body.size() > smallBody) {
    set(transfer, CURLOPT_NOPROGRESS, 0L);
    set(transfer, CURLOPT_XFERINFOFUNCTION, &watchSending);
    set(transfer, CURLOPT_XFERINFODATA, &transfer);
  }
}

void setCallbacks(HTTPTransfer& transfer) {
  set(transfer, CURLOPT_HEADERFUNCTION, &receiveHeader);
  set(transfer, CURLOPT_HEADERDATA, &transfer);
  set(transfer, CURLOPT_WRITEFUNCTION, &receiveBody);
  set(transfer, CURLOPT_WRITEDATA, &transfer);
  set(transfer, CURLOPT_RESOLVER_START_FUNCTION, &beginResolving);
  set(transfer, CURLOPT_RESOLVER_START_DATA, &transfer);
  set(transfer, CURLOPT_SOCKOPTFUNCTION, &configureSocket);
  set(transfer, CURLOPT_SOCKOPTDATA, &transfer);
  set(transfer, CURLOPT_PREREQFUNCTION, &beginRequest);
  set(transfer, CURLOPT_PREREQDATA, &transfer);
  set(transfer, CURLOPT_PRIVATE, &transfer);
}

/// A server on this machine is never asked for through a proxy, whatever the environment says.
bool isLoopback(const std::string& text) {
  const auto url = URL::parse(text);
  if (!url) return false;
  return url->host == "localhost" || url->host == "127.0.0.1" || url->host == "[::1]";
}

void setConnection(HTTPTransfer& transfer, const HTTPHandleSettings& settings) {
  const HTTPSessionConfiguration& configuration = *settings.configuration;
  transfer.mostBodyBytes = configuration.mostBodyBytes;
  set(transfer, CURLOPT_NOSIGNAL, 1L);
  set(transfer, CURLOPT_QUICK_EXIT, 1L);  // else ending a transfer waits for a name look-up under way
  set(transfer, CURLOPT_PROTOCOLS_STR, "http,https");
  set(transfer, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  set(transfer, CURLOPT_PATH_AS_IS, 1L);
  set(transfer, CURLOPT_TCP_KEEPALIVE, 1L);
  set(transfer, CURLOPT_BUFFERSIZE, receiveBuffer);
  set(transfer, CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
  set(transfer, CURLOPT_SHARE, static_cast<CURLSH*>(settings.share));
  set(transfer, CURLOPT_COOKIEFILE, "");  // no file, but cookies: they live in the share
  set(transfer, CURLOPT_CONNECTTIMEOUT_MS,
      static_cast<long>(std::max<std::int64_t>(1, transfer.request.idleTimeout.count())));
  if (!configuration.userAgent.empty()) set(transfer, CURLOPT_USERAGENT, configuration.userAgent.c_str());
  if (settings.connectToLines)
    set(transfer, CURLOPT_CONNECT_TO, static_cast<curl_slist*>(settings.connectToLines));
  if (!configuration.extraTrustAnchors.empty()) {
    set(transfer, CURLOPT_SSL_CTX_FUNCTION, &addTrustAnchors);
    set(transfer, CURLOPT_SSL_CTX_DATA, &configuration);
  }
  if (isLoopback(transfer.request.url)) set(transfer, CURLOPT_NOPROXY, "*");
  // A kept connection may have died unseen, and the library then sends again on a new one. What must not
  // happen twice gets a new connection at once (RFC 9110, 9.2.2).
  if (transfer.request.method == "POST" || transfer.request.method == "PATCH")
    set(transfer, CURLOPT_FRESH_CONNECT, 1L);
}

}  // namespace

bool followsRedirects(const HTTPRequest& request) { return request.method == "GET" && request.body.empty(); }

bool prepare(HTTPTransfer& transfer, const HTTPHandleSettings& settings) {
  static_assert(std::tuple_size_v<decltype(transfer.libraryText)> >= CURL_ERROR_SIZE);
  set(transfer, CURLOPT_ERRORBUFFER, transfer.libraryText.data());
  set(transfer, CURLOPT_URL, transfer.request.url.c_str());
  setConnection(transfer, settings);
  setCallbacks(transfer);
  setBody(transfer);
  if (addHeaders(transfer)) return true;
  transfer.failure.emplace(HTTPErrorKind::other, "The request to " + hostOf(transfer.request.url) +
                                                     " has a header that can't be sent");
  return false;
}

void conclude(HTTPTransfer& transfer, int code) {
  // The library takes a head that is cut off for the whole answer.
  if (code == CURLE_OK && !transfer.headEnded) code = CURLE_RECV_ERROR;
  if (code == CURLE_OK && transfer.delegate) {
    passHeadOn(transfer);
    return;
  }
  if (code == CURLE_OK) {
    long status = 0;
    curl_easy_getinfo(transfer.handle, CURLINFO_RESPONSE_CODE, &status);
    transfer.response.status = static_cast<int>(status);
    return;
  }
  // The library has no memory for a line of a head that is longer than it takes.
  if (code == CURLE_OUT_OF_MEMORY && !transfer.headEnded && !transfer.failure)
    refuseLongAnswer(transfer, "head of the answer");
  if (transfer.failure) return;
  HTTPFailureFacts facts;
  facts.code = code;
  char* last = nullptr;
  curl_easy_getinfo(transfer.handle, CURLINFO_EFFECTIVE_URL, &last);
  facts.url = last ? last : transfer.request.url;
  facts.text = transfer.libraryText.data();
  long systemError = 0;
  curl_easy_getinfo(transfer.handle, CURLINFO_OS_ERRNO, &systemError);
  facts.systemError = static_cast<int>(systemError);
  transfer.failure = failureOf(facts);
}

HTTPError cancelledError(const HTTPTransfer& transfer) {
  return {HTTPErrorKind::cancelled, "The request to " + hostOf(transfer.request.url) + " was cancelled"};
}

HTTPError idleError(const HTTPTransfer& transfer) {
  return {HTTPErrorKind::timedOut, hostOf(transfer.request.url) + " did not answer in time"};
}

HTTPError totalTimeError(const HTTPTransfer& transfer) {
  return {HTTPErrorKind::timedOut, "The exchange with " + hostOf(transfer.request.url) + " took too long"};
}

}  // namespace platform::detail
