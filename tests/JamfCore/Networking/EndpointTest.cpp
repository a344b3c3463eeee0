#include "JamfCore/Networking/Endpoint.h"

#include <gtest/gtest.h>

#include "JamfCore/Networking/APIError.h"
#include "Platform/JSON/Codable.h"

namespace jamf {
namespace {

Endpoint at(std::string path, std::vector<QueryItem> query = {}) {
  Endpoint endpoint;
  endpoint.path = std::move(path);
  endpoint.queryItems = std::move(query);
  return endpoint;
}

TEST(Endpoint, MethodsHaveTheirNames) {
  using Method = Endpoint::Method;
  const std::pair<Method, const char*> rows[] = {{Method::get, "GET"},
                                                 {Method::post, "POST"},
                                                 {Method::put, "PUT"},
                                                 {Method::patch, "PATCH"},
                                                 {Method::delete_, "DELETE"}};
  for (const auto& [method, text] : rows) EXPECT_EQ(platform::json::textOf(method), text);
}

TEST(Endpoint, ThePathIsAppendedToTheBaseWithOneSlash) {
  const struct {
    const char* base;
    const char* path;
    const char* url;
  } rows[] = {
      {"https://h.example", "api/v1/x", "https://h.example/api/v1/x"},
      {"https://h.example/", "api/v1/x", "https://h.example/api/v1/x"},
      {"https://h.example/", "/api/v1/x", "https://h.example/api/v1/x"},
      {"https://h.example:8443/jamf", "api", "https://h.example:8443/jamf/api"},
      {"https://h.example/jamf/", "/api", "https://h.example/jamf/api"},
      {"https://h.example/jamf//", "//api", "https://h.example/jamf/api"},
      {"https://h.example/a%20b", "c d", "https://h.example/a%20b/c%20d"},
      {"http://h.example", "JSSResource/policies/id/5/", "http://h.example/JSSResource/policies/id/5/"},
      {"https://h.example", "a//b", "https://h.example/a//b"},
      {"https://h.example?x=1#y", "api", "https://h.example/api"},
  };
  for (const auto& row : rows)
    EXPECT_EQ(at(row.path).url(row.base), row.url) << row.base << " + " << row.path;
}

TEST(Endpoint, AnEmptyQueryListGivesNoQuestionMark) {
  EXPECT_EQ(at("api").url("https://h.example").find('?'), std::string::npos);
}

TEST(Endpoint, RawTextIsPercentEncodedOnceThePercentSignToo) {
  EXPECT_EQ(at("files/50% off?.pkg").url("https://h.example"), "https://h.example/files/50%25%20off%3F.pkg");
  EXPECT_EQ(at("x/%2F").url("https://h.example"), "https://h.example/x/%252F");
  EXPECT_EQ(at("x/gr\xc3\xbc\xc3\x9f#1").url("https://h.example"), "https://h.example/x/gr%C3%BC%C3%9F%231");
}

TEST(Endpoint, QueryItemsKeepTheirOrderAndMayHaveNoValue) {
  EXPECT_EQ(at("api", {{"page", "0"}, {"flag", std::nullopt}, {"empty", ""}, {"filter", "a==\"b&c\"+d"}})
                .url("https://h.example"),
            "https://h.example/api?page=0&flag&empty=&filter=a%3D%3D%22b%26c%22+d");
}

TEST(Endpoint, ASlashInANameIsNoSeparator) {
  auto endpoint = at("JSSResource/policies/name");
  endpoint.name = "In/Out 1%";
  EXPECT_EQ(endpoint.url("https://h.example"), "https://h.example/JSSResource/policies/name/In%2FOut%201%25");
  EXPECT_EQ(endpoint.shownPath(), "JSSResource/policies/name/In/Out 1%");
}

TEST(Endpoint, ABaseThatIsNoServersUrlIsInvalid) {
  for (const char* base : {"", "h.example", "https://", "https:///x", "ftp://h.example", "file:///etc",
                           "https://h x", "https://h.example:0", "https://h.example\n"}) {
    try {
      const auto url = at("api").url(base);
      ADD_FAILURE() << base << " gave " << url;
    } catch (const APIError& error) {
      EXPECT_TRUE(error.as<APIError::InvalidBaseURL>()) << base;
    }
  }
}

TEST(IsPathComponent, RefusesWhatWouldLeaveThePath) {
  using namespace std::string_view_literals;
  for (const auto text : {""sv, "."sv, ".."sv, "a/b"sv, "a\nb"sv, "a\0b"sv, "\x7f"sv})
    EXPECT_FALSE(isPathComponent(text)) << text;
  for (const auto* text : {"1", "a b", "%2F", "...", "ü", "a.b"}) EXPECT_TRUE(isPathComponent(text)) << text;
}

}  // namespace
}  // namespace jamf
