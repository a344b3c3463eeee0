#include "orvik/Browse/BrowseCommand.h"

#include <fmt/format.h>

#include <chrono>
#include <memory>
#include <string>

#include "JamfCore/Tools/MCP/MinimalHTTPServer.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Hex.h"
#include "Platform/JSON/Value.h"
#include "Platform/SecretString.h"
#include "orvik/Browse/BrowseEndpoint.h"
#include "orvik/Browse/BrowserLaunch.h"
#include "orvik/Loopback.h"

namespace orvik::host {

namespace {

using platform::json::Value;

constexpr std::size_t tokenBytes = 32;

void announce(const std::string& url, const BrowseArguments& arguments, Results& results) {
  if (arguments.at.json)
    results.line(Value::object({{"event", "listening"}, {"url", url}}).text());
  else
    results.line(url);
  results.requireWritten();
}

/// The browser as long as the page is served; nothing where none is to be opened.
std::unique_ptr<BrowserLaunch> launched(const std::string& url, const BrowseArguments& arguments,
                                        const HostPlaces& places, const std::stop_token& stop) {
  std::unique_ptr<BrowserLaunch> browser;
  if (!arguments.noOpen && !arguments.at.json && BrowserLaunch::isPossible())
    browser = std::make_unique<BrowserLaunch>(url, places.data, stop);
  if (!arguments.at.quiet)
    remarks::line(browser && browser->succeeded()
                      ? "Your browser opens it. It ends with Control-C."
                      : "Open this address in a browser on this machine. It ends with Control-C.");
  return browser;
}

}  // namespace

ExitStatus browse(const BrowseArguments& arguments, const HostPlaces& places, Results& results,
                  const std::stop_token& stop) {
  const BrowseShelf shelf(arguments.at.folder, arguments.at.key);
  const BrowseAnswers answers(shelf);
  // For this run alone: who may read the folder runs the command anew.
  const platform::SecretString token(platform::hexEncode(platform::randomBytes(tokenBytes)));
  const BrowseEndpoint endpoint(answers, token, stop);
  jamf::MinimalHTTPServer server([&](const auto& request) { return endpoint.answer(request); },
                                 jamf::MinimalHTTPServer::Limits());
  loopback::listen(server, arguments.port, "orvik browse");
  // Behind "#" the token stays in the browser: it is part of no request.
  const auto url = fmt::format("http://127.0.0.1:{}/#token={}", server.port(), token.reveal());
  announce(url, arguments, results);
  const auto browser = launched(url, arguments, places, stop);
  while (true) platform::sleep(std::chrono::hours(1), stop);
}

}  // namespace orvik::host
