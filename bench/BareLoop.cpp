#include "bench/BareLoop.h"

#include <curl/curl.h>

#include <list>
#include <stdexcept>

#include "Platform/JSON/View.h"

namespace bench {

namespace {

std::size_t keep(char* data, std::size_t size, std::size_t count, void* target) {
  static_cast<std::string*>(target)->append(data, size * count);
  return size * count;
}

class Loop {
 public:
  Loop(const std::string& token, int width) : width_(static_cast<std::size_t>(width)) {
    headers_ = curl_slist_append(nullptr, ("Authorization: Bearer " + token).c_str());
    headers_ = curl_slist_append(headers_, "Accept: application/json");
    for (std::size_t i = 0; i < width_; ++i) handles_.push_back(makeHandle(bodies_.emplace_back()));
  }
  ~Loop() {
    for (CURL* easy : handles_) curl_easy_cleanup(easy);
    curl_slist_free_all(headers_);
    curl_multi_cleanup(multi_);
  }

  void get(const std::vector<std::string>& urls) {
    std::size_t next = 0;
    const auto start = [&](CURL* easy) {
      curl_easy_setopt(easy, CURLOPT_URL, urls[next++].c_str());
      curl_multi_add_handle(multi_, easy);
    };
    for (CURL* easy : handles_)
      if (next < urls.size()) start(easy);
    for (int running = 1; running > 0;) {
      curl_multi_perform(multi_, &running);
      int left = 0;
      while (const CURLMsg* message = curl_multi_info_read(multi_, &left)) {
        CURL* easy = message->easy_handle;
        check(easy, message->data.result);
        curl_multi_remove_handle(multi_, easy);
        if (next < urls.size()) {
          start(easy);
          running = 1;
        }
      }
      if (running > 0) curl_multi_poll(multi_, nullptr, 0, 100, nullptr);
    }
  }

 private:
  CURL* makeHandle(std::string& body) const {
    CURL* easy = curl_easy_init();
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, keep);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
    curl_easy_setopt(easy, CURLOPT_PRIVATE, &body);
    return easy;
  }

  static void check(CURL* easy, CURLcode result) {
    long status = 0;
    std::string* body = nullptr;
    curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &body);
    body->clear();
    if (result != CURLE_OK || (status != 200 && status != 404))
      throw std::runtime_error("a request of the bare loop failed");
  }

  const std::size_t width_;
  CURLM* multi_ = curl_multi_init();
  curl_slist* headers_ = nullptr;
  std::list<std::string> bodies_;
  std::vector<CURL*> handles_;
};

}  // namespace

void getAll(const std::vector<std::string>& urls, const std::string& token, int width) {
  Loop(token, width).get(urls);
}

void getAll(const std::vector<std::vector<std::string>>& groups, const std::string& token, int width) {
  Loop loop(token, width);
  for (const auto& group : groups) loop.get(group);
}

std::string fetchToken(const std::string& url, const std::string& clientID, const std::string& clientSecret) {
  CURL* easy = curl_easy_init();
  const std::string form =
      "grant_type=client_credentials&client_id=" + clientID + "&client_secret=" + clientSecret;
  std::string body;
  curl_easy_setopt(easy, CURLOPT_URL, (url + "/api/oauth/token").c_str());
  curl_easy_setopt(easy, CURLOPT_POSTFIELDS, form.c_str());
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, keep);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
  const auto result = curl_easy_perform(easy);
  curl_easy_cleanup(easy);
  if (result != CURLE_OK) throw std::runtime_error("no token");
  const auto document = platform::json::Document::parse(body);
  return std::string(document->root()["access_token"].value().string().value());
}

}  // namespace bench
