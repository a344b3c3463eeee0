#pragma once

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

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
    const auto shown = outputOf("/bin/sh", {"-c",
                                            "printf 'a password' | gnome-keyring-daemon --unlock "
                                            "--components=secrets"});
    const std::vector<std::string> who{"--session",
                                       "--print-reply=literal",
                                       "--dest=org.freedesktop.DBus",
                                       "/",
                                       "org.freedesktop.DBus.GetConnectionUnixProcessID",
                                       "string:org.freedesktop.secrets"};
    // The daemon goes into the background before it has its name.
    auto answer = runProgram("dbus-send", who);
    for (int i = 0; i < 500 && answer.status != 0; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
      answer = runProgram("dbus-send", who);
    }
    ASSERT_EQ(answer.status, 0) << answer.err << shown;
    const std::string& id = answer.out;
    keyringID_ = std::stoi(id.substr(id.find("uint32") + 6));
  }
  void stopKeyring() {
    if (keyringID_ > 0) ::kill(keyringID_, SIGKILL);
    keyringID_ = -1;
  }
  void lock() const {
    outputOf("dbus-send", {"--session", "--print-reply", "--dest=org.freedesktop.secrets",
                           "/org/freedesktop/secrets", "org.freedesktop.Secret.Service.Lock",
                           "array:objpath:/org/freedesktop/secrets/collection/login"});
  }

 private:
  platform::files::TempFolder folder_;
  ScopedVariable data_{"XDG_DATA_HOME"};
  ScopedVariable runtime_{"XDG_RUNTIME_DIR"};
  ScopedVariable bus_{"DBUS_SESSION_BUS_ADDRESS"};
  pid_t busID_ = -1;
  pid_t keyringID_ = -1;
};

}  // namespace orvik::test
