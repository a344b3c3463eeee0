// A whole run beside a bare libcurl multi loop that gets the same paths from the same server: requests per
// second as a ratio. Each pair alternates; medians. Usage: WholeRunBench [folder] [rounds] [fleet]
#include <fmt/format.h>

#include <cstdlib>
#include <filesystem>

#include "OrvikCore/Store/AuditLog.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "bench/BareLoop.h"
#include "bench/Measure.h"
#include "bench/RunOfServer.h"
#include "bench/ServerProcess.h"

namespace {

using namespace orvik;

/// Requests per second of one run.
double rateOfRun(const bench::ServerProcess& server, const std::filesystem::path& root, int width) {
  int requests = 0;
  const double seconds =
      bench::secondsOf([&] { requests = bench::run(server, root, width).totals.requests; });
  return requests / seconds;
}

std::vector<std::string> urlsOf(const std::string& base, const BackupRepository& repository) {
  std::vector<std::string> urls;
  const auto backup = repository.latestComplete().value();
  for (const auto& entry : AuditLog::read(repository.backupDirectory(backup.id))) {
    if (entry.kind != AuditEntry::Kind::request) continue;
    auto url = base + "/" + entry.target;
    if (entry.detail) url += "?page=" + entry.detail->substr(5) + "&page-size=200";
    urls.push_back(std::move(url));
  }
  return urls;
}

/// The paths in the groups that can be asked for side by side: every list alone, the objects behind it
/// together.
std::vector<std::vector<std::string>> groupsOf(const std::vector<std::string>& urls) {
  std::vector<std::vector<std::string>> groups;
  bool open = false;
  for (const auto& url : urls) {
    const bool isObject =
        url.find("/id/") != std::string::npos || url.find("/userid/") != std::string::npos ||
        url.find("/groupid/") != std::string::npos || url.find("/api/blueprints/") != std::string::npos;
    if (!isObject || !open) groups.emplace_back();
    open = isObject;
    groups.back().push_back(url);
  }
  return groups;
}

struct Rates {
  std::vector<double> bare, ordered, fresh, unchanged;
};

void round(bench::ServerProcess& server, const std::filesystem::path& folder, int number, int width,
           const std::string& token, const std::vector<std::string>& urls, long objects, Rates& rates) {
  const auto root = folder / fmt::format("w{}-{}", width, number);
  rates.bare.push_back(static_cast<double>(urls.size()) /
                       bench::secondsOf([&] { bench::getAll(urls, token, width); }));
  rates.fresh.push_back(rateOfRun(server, root, width));
  server.mutate(objects / 100);
  rates.bare.push_back(static_cast<double>(urls.size()) /
                       bench::secondsOf([&] { bench::getAll(urls, token, width); }));
  rates.unchanged.push_back(rateOfRun(server, root, width));
  std::filesystem::remove_all(root);
}

void measureFast(bench::ServerProcess& server, const std::filesystem::path& folder, int rounds,
                 const std::string& token, const std::vector<std::string>& urls, long objects) {
  for (const int width : {8, 32}) {
    Rates rates;
    for (int i = 0; i < rounds; ++i) round(server, folder, i, width, token, urls, objects, rates);
    const double bare = bench::median(rates.bare);
    fmt::print(
        "width {:2}: bare loop {:.0f}/s; all new {:.0f}/s: {:.2f} (minimum 0.25); 99% unchanged {:.0f}/s: "
        "{:.2f} "
        "(minimum 0.33)\n",
        width, bare, bench::median(rates.fresh), bench::median(rates.fresh) / bare,
        bench::median(rates.unchanged), bench::median(rates.unchanged) / bare);
    std::fflush(stdout);
  }
}

void measureSlow(bench::ServerProcess& server, const std::filesystem::path& folder, int rounds,
                 const std::string& token, const std::vector<std::string>& urls, long objects) {
  server.setDelay(20'000);
  const auto groups = groupsOf(urls);
  for (const int width : {8, 32}) {
    Rates rates;
    for (int i = 0; i < rounds; ++i) {
      round(server, folder, 100 + i, width, token, urls, objects, rates);
      const double seconds = bench::secondsOf([&] { bench::getAll(groups, token, width); });
      rates.ordered.push_back(static_cast<double>(urls.size()) / seconds);
    }
    const double bare = bench::median(rates.bare);
    const double ordered = bench::median(rates.ordered);
    const double fresh = bench::median(rates.fresh);
    const double unchanged = bench::median(rates.unchanged);
    fmt::print(
        "width {:2}, 20 ms an answer: bare loop in order {:.0f}/s; all new: {:.3f}; 99% unchanged: {:.3f} "
        "(minimum 0.97); beside a loop that knows all paths, {:.0f}/s: {:.3f}, {:.3f}\n",
        width, ordered, fresh / ordered, unchanged / ordered, bare, fresh / bare, unchanged / bare);
    std::fflush(stdout);
  }
}

}  // namespace

int main(int count, char** arguments) {
  const std::filesystem::path parent = count > 1 ? arguments[1] : "/tmp";
  const int rounds = count > 2 ? std::atoi(arguments[2]) : 5;
  const std::string fleet = count > 3 ? arguments[3] : "school";
  const auto size = fleet == "enterprise" ? sample::FleetSize::enterprise
                    : fleet == "small"    ? sample::FleetSize::small
                                          : sample::FleetSize::school;
  bench::ServerProcess server(size);
  const auto folder = parent / fmt::format("orvik-bench-{}", std::rand());
  std::filesystem::create_directories(folder);

  const auto first = bench::run(server, folder / "first", 8);
  const auto urls = urlsOf(server.url(), BackupRepository(folder / "first"));
  const auto token = bench::fetchToken(server.url(), server.clientID(), server.clientSecret());
  fmt::print("{} objects, {} requests, folder {}\n", first.totals.objects, urls.size(), folder.string());

  const std::string part = count > 4 ? arguments[4] : "all";
  if (part != "slow") measureFast(server, folder, rounds, token, urls, first.totals.objects);
  if (part != "fast") measureSlow(server, folder, rounds, token, urls, first.totals.objects);
  std::filesystem::remove_all(folder);
}
