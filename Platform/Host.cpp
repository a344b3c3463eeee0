#include "Platform/Host.h"

#include <errno.h>
#include <pwd.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <vector>

#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"

namespace platform {

namespace {

constexpr std::uint64_t machineInfoLimit = 65536;
constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
  const auto first = text.find_first_not_of(blanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::optional<std::string> unquoted(std::string_view value) {
  std::string text;
  char quote = '\0';
  for (std::size_t i = 0; i < value.size(); ++i) {
    const char character = value[i];
    if (quote == '\0' && (character == '"' || character == '\''))
      quote = character;
    else if (character == quote)
      quote = '\0';
    else if (character == '\\' && quote != '\'' && i + 1 < value.size())
      text += value[++i];
    else
      text += character;
  }
  if (quote != '\0' || text.empty()) return std::nullopt;
  return text;
}

struct Account {
  std::string name;
  std::string gecos;
  std::string home;
};

std::optional<Account> account() {
  std::vector<char> buffer(1024);
  passwd entry{};
  passwd* found = nullptr;
  while (getpwuid_r(geteuid(), &entry, buffer.data(), buffer.size(), &found) == ERANGE &&
         buffer.size() < (1U << 20))
    buffer.resize(buffer.size() * 2);
  if (found == nullptr || entry.pw_name == nullptr) return std::nullopt;
  const auto text = [](const char* field) { return std::string(field == nullptr ? "" : field); };
  return Account{entry.pw_name, text(entry.pw_gecos), text(entry.pw_dir)};
}

}  // namespace

std::string machineName() {
  if (const auto info = files::tryRead("/etc/machine-info", machineInfoLimit))
    if (auto name = prettyHostName(*info)) return std::move(*name);
  return hostName();
}

std::string machineMark() {
  std::error_code unknown;
  const auto id = files::tryRead("/etc/machine-id", machineInfoLimit).value_or("");
  // The space of process numbers: the same number is another process in a container.
  const auto processes = std::filesystem::read_symlink("/proc/self/ns/pid", unknown).string();
  if (id.empty() && processes.empty()) return "";
  return sha256Hex("orvik lock\n" + id + processes).substr(0, 12);
}

std::optional<std::string> prettyHostName(std::string_view machineInfo) {
  static constexpr std::string_view key = "PRETTY_HOSTNAME=";
  std::optional<std::string> name;
  while (!machineInfo.empty()) {
    const auto end = machineInfo.find('\n');
    const std::string_view line = trimmed(machineInfo.substr(0, end));
    if (line.starts_with(key)) name = unquoted(trimmed(line.substr(key.size())));
    machineInfo.remove_prefix(end == std::string_view::npos ? machineInfo.size() : end + 1);
  }
  return name;
}

std::string hostName() {
  std::array<char, 256> name{};  // zeros behind a name that fills the limit of 255
  if (gethostname(name.data(), name.size() - 1) != 0 || name[0] == '\0') return "localhost";
  return name.data();
}

std::string userName() {
  if (auto entry = account()) return std::move(entry->name);
  return std::to_string(geteuid());
}

std::string fullUserName() {
  const auto entry = account();
  if (!entry) return userName();
  auto name = fullNameOfGECOS(entry->gecos, entry->name);
  return name.empty() ? entry->name : name;
}

std::string userWithFullName() {
  const auto entry = account();
  if (!entry) return userName();
  const auto name = fullNameOfGECOS(entry->gecos, entry->name);
  return name.empty() ? entry->name : name + " (" + entry->name + ")";
}

std::string homeFolder() {
  if (const char* home = std::getenv("HOME"); home != nullptr && *home == '/') return home;
  const auto user = account();
  return user && user->home.starts_with('/') ? user->home : "/";
}

std::string fullNameOfGECOS(std::string_view gecos, std::string_view accountName) {
  std::string capitalised(accountName);
  if (!capitalised.empty() && capitalised[0] >= 'a' && capitalised[0] <= 'z')
    capitalised[0] = static_cast<char>(capitalised[0] - 'a' + 'A');
  std::string name;
  for (const char character : trimmed(gecos.substr(0, gecos.find(',')))) {
    if (character == '&')
      name += capitalised;
    else
      name += character;
  }
  return name;
}

std::string processName() { return program_invocation_short_name; }

std::int32_t processID() { return getpid(); }

ProcessState probeProcess(std::int32_t processID) {
  if (processID <= 0) return ProcessState::gone;
  return kill(processID, 0) != 0 && errno == ESRCH ? ProcessState::gone : ProcessState::alive;
}

}  // namespace platform
