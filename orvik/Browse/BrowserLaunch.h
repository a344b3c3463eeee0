#pragma once

#include <filesystem>
#include <stop_token>
#include <string>

namespace orvik::host {

/// Opens an address that has a secret in it in the desktop's browser. Other users of the machine see the
/// arguments of every program: so the browser is given a file that leads there, which its owner alone can
/// read and which goes with this object.
class BrowserLaunch {
 public:
  /// Whether this program runs in a desktop session, before a person.
  static bool isPossible();

  /// `folder` is made when it is missing. Throws `FileError`, and `platform::CancellationError` on a stop.
  BrowserLaunch(const std::string& url, const std::filesystem::path& folder, const std::stop_token& stop);
  ~BrowserLaunch();
  BrowserLaunch(const BrowserLaunch&) = delete;
  BrowserLaunch& operator=(const BrowserLaunch&) = delete;

  /// False where the desktop has no program to open files with.
  bool succeeded() const { return succeeded_; }

 private:
  const std::filesystem::path file_;
  bool succeeded_ = false;
};

}  // namespace orvik::host
