#include "orvik/Browse/BrowserLaunch.h"

#include <fmt/format.h>

#include <array>
#include <cstdlib>

#include "Platform/Crypto/Digest.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/SecretFile.h"
#include "Platform/Hex.h"
#include "Platform/Process/ChildProcess.h"
#include "Platform/SecretString.h"
#include "Platform/Terminal/StandardStreams.h"

namespace orvik::host {

namespace {

namespace files = platform::files;

/// The browser stays when this program goes, and says nothing in its terminal.
constexpr const char* script =
    "command -v xdg-open >/dev/null && exec setsid --fork xdg-open \"$1\" </dev/null >/dev/null 2>&1";

std::filesystem::path newFile(const std::filesystem::path& folder) {
  constexpr std::size_t randomness = 8;
  return folder / fmt::format("browse-{}.html", platform::hexEncode(platform::randomBytes(randomness)));
}

}  // namespace

bool BrowserLaunch::isPossible() {
  const auto isSet = [](const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr && *value != '\0';
  };
  return platform::standardStreams::outputIsTerminal() && (isSet("DISPLAY") || isSet("WAYLAND_DISPLAY"));
}

BrowserLaunch::BrowserLaunch(const std::string& url, const std::filesystem::path& folder,
                             const std::stop_token& stop)
    : file_(newFile(folder)) {
  files::createDirectories(folder);
  files::writeSecretFile(
      file_,
      platform::SecretString(fmt::format(
          "<!doctype html><meta http-equiv=\"refresh\" content=\"0; url={}\"><title>orvik</title>\n", url)));
  try {
    succeeded_ = platform::runProgram({"/bin/sh", "-c", script, "sh", file_.string()}, stop) == 0;
  } catch (...) {
    files::tryRemove(file_);
    throw;
  }
}

BrowserLaunch::~BrowserLaunch() { files::tryRemove(file_); }

}  // namespace orvik::host
