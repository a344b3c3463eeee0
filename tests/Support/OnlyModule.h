#pragma once

#define P11_KIT_FUTURE_UNSTABLE_API
#include <p11-kit/p11-kit.h>

#include <string>
#include <utility>
#include <vector>

#include "Platform/Files/Files.h"
#include "tests/Support/Folders.h"

namespace orvik::test {

/// p11-kit knows this module alone while this lives, whatever the machine has. It looks again once nothing of
/// it is in use, so it is made and dropped while no identity of a token is held. The latest one counts.
class OnlyModule {
 public:
  explicit OnlyModule(const Path& module) {
    write(folder_ / "only.module", "module: " + module.string() + "\n");
    active().push_back(folder_.path().string());
    apply();
  }
  ~OnlyModule() {
    std::erase(active(), folder_.path().string());
    apply();
  }
  OnlyModule(const OnlyModule&) = delete;
  OnlyModule& operator=(const OnlyModule&) = delete;

 private:
  static std::vector<std::string>& active() {
    static std::vector<std::string> folders;
    return folders;
  }

  static void apply() {
    // p11-kit keeps the pointer.
    static std::string current;
    current = active().empty() ? "/usr/share/p11-kit/modules" : active().back();
    p11_kit_override_system_files(nullptr, nullptr, current.c_str(), nullptr, nullptr);
  }

  platform::files::TempFolder folder_{"orvik-module"};
};

}  // namespace orvik::test
