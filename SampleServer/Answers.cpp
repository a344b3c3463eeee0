#include "SampleServer/Answers.h"

#include <fmt/format.h>

#include <atomic>

#include "Platform/JSON/Writer.h"
#include "SampleServer/Draw.h"

namespace sample {
namespace {

constexpr std::string_view proHeaders =
    "Server: Jamf Cloud Node\r\nCache-Control: no-cache, no-store, max-age=0, must-revalidate\r\n"
    "Set-Cookie: jpro-ingress=5f0c2a91b7e84d36|sample; Path=/; HttpOnly\r\n";
constexpr std::string_view classicHeaders =
    "Server: Jamf Cloud Node\r\nCache-Control: no-store, no-cache, must-revalidate\r\nAccept-Ranges: "
    "bytes\r\n"
    "Set-Cookie: JSESSIONID=5A4D504C45; Path=/; HttpOnly\r\n"
    "Set-Cookie: jpro-ingress=5f0c2a91b7e84d36|sample; Path=/; HttpOnly\r\n";

std::uint64_t nextTrace() {
  static std::atomic<std::uint64_t> last = 0;
  return mix(++last);
}

}  // namespace

Answer proAnswer(platform::Bytes body) {
  return {200, "application/json", platform::Bytes(proHeaders), std::move(body)};
}

Answer classicAnswer(platform::Bytes body) {
  return {200, "text/plain;charset=UTF-8", platform::Bytes(classicHeaders), std::move(body)};
}

Answer classicWritten(int status, std::string_view root, std::string_view id) {
  return {status, "text/xml;charset=UTF-8", platform::Bytes(classicHeaders),
          fmt::format("<?xml version=\"1.0\" encoding=\"UTF-8\"?><{0}>{1}</{0}>", root,
                      id.empty() ? std::string() : fmt::format("<id>{}</id>", id))};
}

Answer proFailure(int status, std::string_view code, std::string_view description, std::string_view field) {
  platform::Bytes body =
      fmt::format("{{\"httpStatus\":{},\"traceId\":\"{:016x}\",\"errors\":[", status, nextTrace());
  if (!code.empty()) {
    body += fmt::format("{{\"code\":\"{}\",\"description\":", code);
    platform::json::appendString(body, description);
    body += ",\"id\":\"0\",\"field\":";
    if (field.empty()) {
      body += "null}";
    } else {
      platform::json::appendString(body, field);
      body += '}';
    }
  }
  return {status, "application/json", platform::Bytes(proHeaders), body += "]}"};
}

Answer classicFailure(int status, std::string_view title, std::string_view sentence) {
  return {status, "text/html;charset=UTF-8", platform::Bytes(classicHeaders),
          fmt::format("<html>\n<head>\n<title>Status "
                      "page</title>\n</head>\n<body>\n<p>{}</p>\n<p>{}</p>\n</body>\n</html>\n",
                      title, sentence)};
}

Answer failureFor(std::string_view path, int status) {
  const bool classic = path.starts_with("JSSResource");
  switch (status) {
    case 401:
      if (classic) return classicFailure(401, "Unauthorized", "The request requires user authentication");
      return proFailure(401, "INVALID_TOKEN", "Unauthorized");
    case 403:
      if (classic)
        return classicFailure(403, "Forbidden", "The server understood the request but refuses it");
      return proFailure(403, "INVALID_PRIVILEGE", "Forbidden");
    case 404:
      if (classic)
        return classicFailure(404, "Not Found", "The server has not found anything matching the request URI");
      return proFailure(404, {}, {});
    case 405:
      if (classic)
        return classicFailure(405, "Method Not Allowed", "The method is not allowed for this resource");
      return proFailure(405, "METHOD_NOT_ALLOWED", "Method Not Allowed");
    default:
      return classic ? classicFailure(status, "Error", "The request could not be answered")
                     : proFailure(status, {}, {});
  }
}

}  // namespace sample
