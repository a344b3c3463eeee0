#include "orvik/Explore/Tree/GitRepository.h"

#include <fmt/format.h>

#include <chrono>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

#include "Platform/Files/Files.h"
#include "Platform/Locale/Text.h"
#include "Platform/Process/ChildProcess.h"
#include "TuvCore/Error.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
using Path = std::filesystem::path;

/// Of one command: a work tree of many thousand files on a share takes its time.
constexpr std::chrono::hours patience{6};

bool isExecutable(const Path& path) {
  std::error_code error;
  const auto mode = std::filesystem::status(path, error).permissions();
  constexpr auto any = std::filesystem::perms{0111};
  return files::isFile(path) && (mode & any) != std::filesystem::perms::none;
}

std::string findGit() {
  const char* path = std::getenv("PATH");
  for (std::string_view rest = path ? path : ""; !rest.empty();) {
    const auto end = rest.find(':');
    const auto folder = rest.substr(0, end);
    if (const auto program = Path(folder) / "git"; folder.starts_with('/') && isExecutable(program))
      return program.string();
    rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
  }
  throw tuv::Error("The program git is not in PATH. Install it, or write one backup with --tree.");
}

/// No settings but the repository's, nobody is asked for anything, and errors are in one language.
std::vector<std::string> environment() {
  std::vector<std::string> variables;
  for (auto& variable : platform::environmentForPrograms())
    if (!variable.starts_with("GIT_") && !variable.starts_with("LC_") && !variable.starts_with("LANGUAGE="))
      variables.push_back(std::move(variable));
  for (const char* own : {"GIT_CONFIG_NOSYSTEM=1", "GIT_CONFIG_GLOBAL=/dev/null", "GIT_ATTR_NOSYSTEM=1",
                          "GIT_TERMINAL_PROMPT=0", "GIT_COMMITTER_NAME=Orvik",
                          "GIT_COMMITTER_EMAIL=orvik@localhost", "LC_ALL=C"})
    variables.emplace_back(own);
  return variables;
}

/// Those of the repository's own settings that would run programs or change bytes.
const std::vector<std::string> settings{"-c", "core.hooksPath=/dev/null", "-c", "core.fsmonitor=false",
                                        "-c", "core.autocrlf=false",      "-c", "core.safecrlf=false",
                                        "-c", "gc.autoDetach=false",      "-c", "core.quotePath=false"};

}  // namespace

GitRepository::GitRepository(Path folder) : folder_(std::move(folder)), program_(findGit()) {}

void GitRepository::require(const std::stop_token& stop) const {
  if (files::exists(folder_ / ".git")) return;
  files::createDirectories(folder_);
  if (!files::list(folder_).empty())
    throw tuv::Error(fmt::format(
        "{} is not empty and no git repository. Name a folder that is empty or missing.", folder_.string()));
  output({"init", "--quiet", "--initial-branch=main", "--template="}, stop);
}

platform::CapturedProcess GitRepository::process(const Arguments& arguments) const {
  platform::CapturedProcess process;
  process.path = program_;
  process.arguments = {"-C", folder_.string()};
  process.arguments.insert(process.arguments.end(), settings.begin(), settings.end());
  process.arguments.insert(process.arguments.end(), arguments.begin(), arguments.end());
  process.environment = environment();
  process.timeout = patience;
  process.hearsTerminal = false;  // half a checkout is no work tree
  return process;
}

GitRepository::End GitRepository::run(const Arguments& arguments, const std::string& input,
                                      const std::stop_token& stop) const {
  End end;
  auto git = process(arguments);
  git.input = input;
  end.status =
      git.run([&](std::string_view piece, bool isError) { (isError ? end.errors : end.output) += piece; },
              stop)
          .status;
  return end;
}

std::string GitRepository::output(const Arguments& arguments, const std::stop_token& stop,
                                  const std::string& input) const {
  auto end = run(arguments, input, stop);
  if (end.status != 0)
    throw tuv::Error(fmt::format("git {} failed in {}: {}", arguments.front(), folder_.string(),
                                 platform::locale::trimmed(end.errors)));
  return std::move(end.output);
}

std::optional<std::string> GitRepository::tryLine(const Arguments& arguments,
                                                  const std::stop_token& stop) const {
  const auto end = run(arguments, {}, stop);
  if (end.status != 0) return std::nullopt;
  return end.output.substr(0, end.output.find('\n'));
}

std::unique_ptr<platform::FedProcess> GitRepository::feed(const Arguments& arguments,
                                                          const std::stop_token& stop) const {
  return std::make_unique<platform::FedProcess>(process(arguments), stop);
}

}  // namespace orvik::host
