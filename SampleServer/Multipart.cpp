#include "SampleServer/Multipart.h"

#include <algorithm>
#include <optional>

#include "SampleServer/HTTPMessage.h"

namespace sample {
namespace {

constexpr std::size_t mostParts = 16;
constexpr std::size_t longestBoundary = 70;  // RFC 2046, section 5.1.1
constexpr std::size_t longestHead = 16 * 1024;
constexpr std::string_view lineEnd = "\r\n";

/// The boundary that a type names; nothing for another type or a boundary that can't be one.
std::optional<std::string_view> boundaryIn(std::string_view type) {
  constexpr std::string_view kind = "multipart/form-data;";
  constexpr std::string_view key = "boundary=";
  if (!equalIgnoringCase(type.substr(0, kind.size()), kind)) return std::nullopt;
  std::string_view rest = type.substr(kind.size());
  while (!rest.empty()) {
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t;"), rest.size()));
    if (equalIgnoringCase(rest.substr(0, key.size()), key)) {
      rest.remove_prefix(key.size());
      const bool isQuoted = rest.starts_with('"');
      if (isQuoted) rest.remove_prefix(1);
      const std::size_t end = rest.find_first_of(isQuoted ? "\"" : "; \t");
      if (isQuoted && end == std::string_view::npos) return std::nullopt;
      const std::string_view boundary = rest.substr(0, end);
      if (boundary.empty() || boundary.size() > longestBoundary) return std::nullopt;
      return boundary;
    }
    rest.remove_prefix(std::min(rest.find(';'), rest.size()));
  }
  return std::nullopt;
}

/// The quoted value behind `key`, up to the first quote or the line's last.
std::optional<std::string> quotedValue(std::string_view line, std::string_view key, bool toLast) {
  const std::size_t at = line.find(key);
  if (at == std::string_view::npos) return std::nullopt;
  const std::string_view rest = line.substr(at + key.size());
  const std::size_t end = toLast ? rest.rfind('"') : rest.find('"');
  if (end == std::string_view::npos) return std::nullopt;
  return std::string(rest.substr(0, end));
}

FormPart readHead(std::string_view head) {
  constexpr std::string_view wanted = "Content-Disposition: form-data;";
  while (!head.empty()) {
    const std::string_view line = head.substr(0, head.find(lineEnd));
    head.remove_prefix(std::min(head.size(), line.size() + lineEnd.size()));
    if (!equalIgnoringCase(line.substr(0, wanted.size()), wanted)) continue;
    const auto name = quotedValue(line, " name=\"", false);
    if (!name) break;
    return {*name, quotedValue(line, " filename=\"", true).value_or(""), {}};
  }
  throw MultipartError("A part of the form has no name");
}

}  // namespace

std::vector<FormPart> parseMultipart(std::string_view contentType, std::string_view body) {
  const auto boundary = boundaryIn(contentType);
  if (!boundary) throw MultipartError("The body is no form with a boundary");
  const std::string first = "--" + std::string(*boundary);
  const std::string next = std::string(lineEnd) + first;
  std::vector<FormPart> parts;
  // Ahead of the first boundary may stand a text for nobody, whose line it ends.
  std::size_t at = first.size();
  if (!body.starts_with(first)) {
    const std::size_t begin = body.find(next);
    if (begin == std::string_view::npos) throw MultipartError("The form has no boundary");
    at = begin + next.size();
  }
  while (body.substr(at, 2) != "--") {
    if (body.substr(at, lineEnd.size()) != lineEnd) throw MultipartError("A boundary of the form is damaged");
    at += lineEnd.size();
    if (parts.size() == mostParts) throw MultipartError("The form has too many parts");
    const std::size_t headEnd = body.substr(at, longestHead).find("\r\n\r\n");
    if (headEnd == std::string_view::npos) throw MultipartError("A part of the form has no end of its head");
    FormPart part = readHead(body.substr(at, headEnd));
    at += headEnd + 2 * lineEnd.size();
    const std::size_t end = body.find(next, at);
    if (end == std::string_view::npos) throw MultipartError("A part of the form has no end");
    part.content = body.substr(at, end - at);
    parts.push_back(std::move(part));
    at = end + next.size();
  }
  return parts;
}

}  // namespace sample
