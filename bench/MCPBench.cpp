// MCPBench body PORT TOKEN-FILE | compare PORT TOKEN-FILE PEER-PORT ROUNDS CALLS CLIENTS: the list of tools
// as the tool server gives it, or how fast it does so beside a web server that has those very bytes in a
// file.

#include <fmt/format.h>

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

#include "Platform/Files/Files.h"
#include "Platform/Locale/Text.h"
#include "bench/HTTPLoad.h"
#include "bench/Measure.h"

namespace {

constexpr double aim = 0.5;  ///< of the peer's calls a second

std::uint16_t portOf(const std::string& text) { return static_cast<std::uint16_t>(std::stoi(text)); }

std::string requestOf(std::uint16_t port, const std::string& tokenFile) {
  const std::string message = R"({"jsonrpc":"2.0","id":1,"method":"tools/list"})";
  return fmt::format(
      "POST /mcp HTTP/1.1\r\nHost: 127.0.0.1:{}\r\nAccept: application/json, text/event-stream\r\n"
      "Content-Type: application/json\r\nMCP-Protocol-Version: 2025-06-18\r\nAuthorization: Bearer {}\r\n"
      "Content-Length: {}\r\nConnection: close\r\n\r\n{}",
      port, platform::locale::trimmed(platform::files::read(tokenFile)), message.size(), message);
}

std::string peersRequest(std::uint16_t port) {
  return fmt::format(
      "GET /mcp HTTP/1.1\r\nHost: 127.0.0.1:{}\r\nAccept: application/json\r\nConnection: close\r\n\r\n",
      port);
}

/// Rounds of one server, and their medians.
struct Side {
  std::string name;
  bench::HTTPLoad load;
  std::vector<double> perSecond = {}, typical = {}, slow = {};

  void measure() {
    const auto result = bench::run(load);
    if (result.failures > 0)
      throw std::runtime_error(fmt::format("{}: {} of {} calls failed", name, result.failures, load.count));
    perSecond.push_back(result.perSecond());
    typical.push_back(result.quantile(0.5));
    slow.push_back(result.quantile(0.99));
  }
  void print() const {
    fmt::print("  {:<6} {:8.0f} calls/s   median {:7.2f} ms   p99 {:7.2f} ms\n", name,
               bench::median(perSecond), 1000 * bench::median(typical), 1000 * bench::median(slow));
  }
};

void compare(const std::vector<std::string>& arguments) {
  const auto port = portOf(arguments[1]), peersPort = portOf(arguments[3]);
  const auto rounds = std::stoul(arguments[4]), calls = std::stoul(arguments[5]),
             clients = std::stoul(arguments[6]);
  const auto request = requestOf(port, arguments[2]);
  const auto body = bench::bodyOfOne(port, request);
  Side ours{"orvik", {port, request, body, calls, clients}};
  Side peer{"nginx", {peersPort, peersRequest(peersPort), body, calls, clients}};
  for (std::size_t round = 0; round < rounds; ++round) {
    ours.measure();
    peer.measure();
  }
  fmt::print("tools/list, {} bytes, {} parallel clients, medians of {} rounds of {} calls\n", body.size(),
             clients, rounds, calls);
  ours.print();
  peer.print();
  const auto ratio = bench::median(ours.perSecond) / bench::median(peer.perSecond);
  fmt::print("  ratio {:.2f} (aim {:.2f} or more){}\n", ratio, aim, ratio < aim ? "  MISSED" : "");
}

}  // namespace

int main(int argc, char** argv) try {
  const std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() == 3 && arguments[0] == "body") {
    const auto port = portOf(arguments[1]);
    fmt::print("{}", bench::bodyOfOne(port, requestOf(port, arguments[2])));
  } else if (arguments.size() == 7 && arguments[0] == "compare") {
    compare(arguments);
  } else {
    fmt::print(stderr, "MCPBench: see bench/compare-mcp\n");
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
} catch (const std::exception& error) {
  fmt::print(stderr, "MCPBench: {}\n", error.what());
  return EXIT_FAILURE;
}
