#include "orvik/Samples/DemoCommand.h"

#include <fmt/format.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include "OrvikCore/Reports/BackupReports.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "Platform/Files/Files.h"
#include "Platform/Process/ChildProcess.h"
#include "SampleServer/SampleServer.h"
#include "orvik/Backup/BackupSession.h"
#include "orvik/Doctor/PrivilegeTicks.h"
#include "orvik/Instances/InstanceSecrets.h"
#include "orvik/Output/Wording.h"
#include "orvik/Server/ServerClient.h"

namespace orvik::host {

namespace {

namespace files = platform::files;

constexpr std::size_t changesBetween = 12;
constexpr std::uint64_t changeSeed = 7;
constexpr int requestsSideBySide = 8;
constexpr std::size_t shownChanges = 40;

std::filesystem::path freshFolder() {
  files::TempFolder folder("orvik-demo");
  folder.keep();
  return folder.path();
}

/// The program of that name beside this one.
std::string sibling(const std::string& name) {
  std::error_code error;
  const auto self = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) throw tuv::Error("The program " + name + " can't be found, because /proc is not mounted.");
  const auto path = self.parent_path() / name;
  if (!files::isFile(path))
    throw tuv::Error("The program " + name + " is missing; it belongs at " + path.string());
  return path.string();
}

/// A folder that an earlier demo left belongs to a server on one port.
std::uint16_t portFor(const std::filesystem::path& root) {
  const auto stored = BackupRepository(root, "127.0.0.1").descriptor();
  const auto url = stored ? platform::URL::parse(stored->url) : std::nullopt;
  return url ? static_cast<std::uint16_t>(url->effectivePort()) : 0;
}

class Demo {
 public:
  Demo(const DemoArguments& arguments, Results& results, const std::stop_token& stop)
      : arguments_(arguments),
        results_(results),
        stop_(stop),
        root_(std::filesystem::absolute(arguments.to.empty() ? freshFolder()
                                                             : std::filesystem::path(arguments.to))),
        server_(serverOptions()) {}

  ExitStatus run() {
    const auto counted = [](std::size_t count, std::string_view noun) {
      return wording::counted(static_cast<std::int64_t>(count), noun);
    };
    const auto devices = server_.ids("computers").size() + server_.ids("mobileDevices").size();
    results_.line(fmt::format("A made-up server answers at {}, with {}, {} and {}.", server_.url(),
                              counted(server_.objectCount(), "object"), counted(devices, "device"),
                              counted(server_.packageFiles().size(), "package file")));
    heading("First backup");
    const auto first = backUp();
    heading("Meanwhile, on the server");
    for (const auto& deed : server_.mutate(changesBetween, changeSeed)) results_.line("  " + deed);
    heading("Second backup");
    const auto second = backUp();
    heading("What the second backup found");
    showChanges(second.manifest);
    runTool("list");
    runTool("verify");
    heading("The backups stay in " + root_.string());
    for (const auto name : {BackupReports::backupReportFile, BackupReports::securityReportFile})
      if (BackupReports::hasReport(name, second.folder))
        results_.line("  " + (second.folder / name).string());
    heading("To try next:");
    const auto folder = wording::shellWord((root_ / slug()).string());
    results_.line(fmt::format("  orvik diff {}", folder));
    results_.line(fmt::format("  orvik search {} wifi --contents", folder));
    results_.line(fmt::format("  orvik browse {}", folder));
    const auto complete = BackupManifest::Status::complete;
    const bool areComplete = first.manifest.status == complete && second.manifest.status == complete;
    return areComplete ? ExitStatus::done : ExitStatus::warnings;
  }

 private:
  sample::SampleOptions serverOptions() const {
    sample::SampleOptions options;
    options.size = *sample::parseFleetSize(arguments_.fleet);
    options.port = portFor(root_);
    options.privileges = privilegesForBackup();
    options.log = sample::LogDetail::totals;
    return options;
  }

  void heading(const std::string& text) {
    results_.line("");
    results_.line(text);
  }

  BackupOutcome backUp() {
    const auto url = *platform::URL::parse(server_.url());
    const auto server = serverAt(url, server_.clientID(), "Sample server");
    BackupRequest request;
    request.root = root_;
    request.instance = instanceFor(root_, server);
    request.client = makeClient(
        url, server_.clientID(),
        supplyOf({platform::SecretString(server_.clientSecret()), "the made-up server"}).provider, {});
    request.options.downloadFiles = true;
    request.options.maxConcurrentRequests = requestsSideBySide;
    request.options.maxConcurrentDownloads = 2;
    request.retryPolicy = {5, 1, 60};
    request.credentialSource = "the sample server itself";
    const auto view =
        makeProgressView(OutputForm::text, arguments_.quiet ? Verbosity::quiet : Verbosity::brief, results_);
    auto outcome = runBackup(request, *view, stop_);
    const auto& totals = outcome.manifest.totals;
    results_.line(fmt::format("  {}: {}, {} new or changed; {} in {}", outcome.manifest.backupID,
                              wording::counted(totals.objects, "object"), totals.newOrChangedObjects,
                              wording::counted(totals.requests, "request"),
                              wording::duration(outcome.duration)));
    return outcome;
  }

  void showChanges(const BackupManifest& manifest) {
    struct Line {
      std::string_view deed;
      std::string section, object;
    };
    std::vector<Line> lines;
    for (const auto& section : manifest.sections) {
      const auto index = BackupRepository(root_, slug()).index(manifest.backupID, section.id);
      if (!index) continue;
      for (const auto& item : index->items)
        if (item.change != IndexItem::Change::unchanged)
          lines.push_back({platform::json::textOf(item.change), section.title, item.name.value_or(item.id)});
      for (const auto& item : index->removed)
        lines.push_back({"removed", section.title, item.name.value_or(item.id)});
    }
    if (lines.size() > shownChanges) {
      results_.line(fmt::format("  {} changes, of which the first are", lines.size()));
      lines.resize(shownChanges);
    }
    std::size_t width = 0;
    for (const auto& line : lines) width = std::max(width, line.section.size());
    for (const auto& [deed, section, object] : lines)
      results_.line(fmt::format("  {:<7}  {:<{}}  {}", deed, section, width, object));
  }

  void runTool(const std::string& command) {
    const auto folder = (root_ / slug()).string();
    heading(fmt::format("$ orvikctl {} {}", command, folder));
    results_.requireWritten();
    const int status = platform::runProgram({sibling("orvikctl"), command, folder}, stop_);
    if (status != 0)
      throw tuv::Error(fmt::format("orvikctl {} {} failed with status {}.", command, folder, status));
  }

  std::string slug() const { return InstanceDescriptor::slugFor(server_.url(), ""); }

  const DemoArguments& arguments_;
  Results& results_;
  const std::stop_token stop_;
  const std::filesystem::path root_;
  sample::SampleServer server_;
};

}  // namespace

ExitStatus demo(const DemoArguments& arguments, Results& results, const std::stop_token& stop) {
  return Demo(arguments, results, stop).run();
}

}  // namespace orvik::host
