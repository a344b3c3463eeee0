#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>

#include "Platform/Files/Files.h"
#include "tests/Support/Commands.h"
#include "tests/Support/ScopedVariable.h"

namespace orvik::test {

/// A session bus with a real keyring daemon on it, whose default collection is unlocked. Both end when it
/// goes, and this process's environment points at them meanwhile. The library keeps one bus for a process:
/// one test of a process may have one.
class SessionKeychain {
 public:
  SessionKeychain() {
    const auto runtime = (folder_ / "run").string();
    std::filesystem::create_directories(runtime);
    ::chmod(runtime.c_str(), 0700);
    data_.set((folder_ / "data").string());
    runtime_.set(runtime);
    // A bus that starts nothing by itself: the daemon on it is ours alone.
    platform::files::atomicWrite(
        "<busconfig><type>session</type><listen>unix:path=" + runtime +
            "/bus</listen><policy context=\"default\"><allow send_destination=\"*\"/>"
            "<allow receive_sender=\"*\"/><allow own=\"*\"/></policy></busconfig>",
        folder_ / "bus.conf");
    const std::string text =
        outputOf("dbus-daemon", {"--config-file=" + (folder_ / "bus.conf").string(), "--fork",
                                 "--print-address=1", "--print-pid=1", "--nopidfile"});
    const auto end = text.find('\n');
    bus_.set(text.substr(0, end));
    busID_ = std::stoi(text.substr(end + 1));
    startKeyring();
  }
  ~SessionKeychain() {
    stopKeyring();
    ::kill(busID_, SIGKILL);
  }
  SessionKeychain(const SessionKeychain&) = delete;
  SessionKeychain& operator=(const SessionKeychain&) = delete;

  void startKeyring() {
    outputOf("/bin/sh", {"-c", "printf 'a password' | gnome-keyring-daemon --unlock --components=secrets"});
    // The daemon goes into the background before it has its name.
    waitUntil([this] { return (keyringID_ = ownerOfName()) > 0; });
  }
  void stopKeyring() {
    ::kill(keyringID_, SIGKILL);
    waitUntil([this] { return ownerOfName() < 0; });
  }
  void lock() const {
    outputOf("dbus-send", {"--session", "--print-reply", "--dest=org.freedesktop.secrets",
                           "/org/freedesktop/secrets", "org.freedesktop.Secret.Service.Lock",
                           "array:objpath:/org/freedesktop/secrets/collection/login"});
  }

 private:
  /// The process that offers the service; -1 when nobody does.
  static pid_t ownerOfName() {
    const auto answer = runProgram(
        "dbus-send", {"--session", "--print-reply=literal", "--dest=org.freedesktop.DBus", "/",
                      "org.freedesktop.DBus.GetConnectionUnixProcessID", "string:org.freedesktop.secrets"});
    return answer.status == 0 ? std::stoi(answer.out.substr(answer.out.find("uint32") + 6)) : -1;
  }
  static void waitUntil(const std::function<bool()>& happened) {
    for (int i = 0; i < 500; ++i) {
      if (happened()) return;
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    FAIL() << "the keyring daemon did not come or go within ten seconds";
  }

  platform::files::TempFolder folder_;
  ScopedVariable data_{"XDG_DATA_HOME"};
  ScopedVariable runtime_{"XDG_RUNTIME_DIR"};
  ScopedVariable bus_{"DBUS_SESSION_BUS_ADDRESS"};
  pid_t busID_ = -1;
  pid_t keyringID_ = -1;
};

}  // namespace orvik::test
