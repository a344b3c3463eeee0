#include "Platform/HTTP/HTTPFailure.h"

#include <curl/curl.h>

#include <string_view>
#include <system_error>

#include "Platform/HTTP/URL.h"

namespace platform::detail {

namespace {

std::string addressOf(const std::string& url) {
  const auto parsed = URL::parse(url);
  return parsed ? parsed->host + ":" + std::to_string(parsed->effectivePort()) : "the server";
}

HTTPError notReachable(const HTTPFailureFacts& facts) {
  std::string text = "Could not connect to " + addressOf(facts.url);
  if (facts.systemError != 0) text += ": " + std::generic_category().message(facts.systemError);
  return {HTTPErrorKind::cannotConnect, std::move(text)};
}

/// The library's words on a TLS failure name the certificate's fault and hold nothing of the exchange.
HTTPError notTrusted(const HTTPFailureFacts& facts) {
  std::string_view reason = facts.text;
  for (const std::string_view prefix : {"SSL certificate problem: ", "SSL: "})
    if (reason.starts_with(prefix)) reason.remove_prefix(prefix.size());
  std::string text = "The certificate of " + hostOf(facts.url) + " is not trusted";
  if (!reason.empty()) text.append(": ").append(reason);
  return {HTTPErrorKind::cannotConnect, std::move(text)};
}

/// The library has one code for an address of another protocol and for an answer in another one.
HTTPError wrongProtocol(const HTTPFailureFacts& facts) {
  if (std::string_view(facts.text).starts_with("Protocol "))
    return {HTTPErrorKind::other, hostOf(facts.url) + " led to an address that is neither http nor https"};
  return {HTTPErrorKind::notHTTP, hostOf(facts.url) + " did not answer in HTTP"};
}

}  // namespace

std::string hostOf(const std::string& url) {
  const auto parsed = URL::parse(url);
  return parsed && !parsed->host.empty() ? parsed->host : "the server";
}

HTTPError failureOf(const HTTPFailureFacts& facts) {
  const std::string host = hostOf(facts.url);
  switch (facts.code) {
    case CURLE_COULDNT_RESOLVE_HOST:
      return {HTTPErrorKind::cannotConnect, "Could not find the host " + host};
    case CURLE_COULDNT_RESOLVE_PROXY:
      return {HTTPErrorKind::cannotConnect, "Could not find the proxy on the way to " + host};
    case CURLE_COULDNT_CONNECT:
    case CURLE_INTERFACE_FAILED:
    case CURLE_PROXY:
      return notReachable(facts);
    case CURLE_PEER_FAILED_VERIFICATION:
    case CURLE_SSL_ISSUER_ERROR:
    case CURLE_SSL_INVALIDCERTSTATUS:
      return notTrusted(facts);
    case CURLE_SSL_CACERT_BADFILE:
      return {HTTPErrorKind::cannotConnect, "The trust anchors for " + host + " can't be read"};
    case CURLE_SSL_CONNECT_ERROR:
    case CURLE_SSL_CIPHER:
    case CURLE_SSL_CERTPROBLEM:
      return {HTTPErrorKind::cannotConnect, "Could not make a secure connection to " + addressOf(facts.url)};
    case CURLE_OPERATION_TIMEDOUT:
      return {HTTPErrorKind::timedOut, host + " did not answer in time"};
    case CURLE_UNSUPPORTED_PROTOCOL:
      return wrongProtocol(facts);
    case CURLE_WEIRD_SERVER_REPLY:
      return {HTTPErrorKind::notHTTP, host + " did not answer in HTTP"};
    case CURLE_URL_MALFORMAT:
      return {HTTPErrorKind::other, "The address of the request is not a valid URL"};
    case CURLE_TOO_MANY_REDIRECTS:
      return {HTTPErrorKind::other, host + " redirected too many times"};
    case CURLE_OUT_OF_MEMORY:
      return {HTTPErrorKind::other, "Not enough memory for the answer of " + host};
    default:
      return {HTTPErrorKind::other, "The connection to " + host + " was lost"};
  }
}

}  // namespace platform::detail
