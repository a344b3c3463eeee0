#pragma once

#include <unistd.h>

#include <memory>
#include <string>
#include <string_view>

#include "Platform/Files/Files.h"
#include "orvik/HostPlaces.h"

namespace orvik::test {

/// Places of the host in a folder of their own, and what an organisation forces there.
struct ForcedPlaces {
  static constexpr const char* domain = "orvik.test";

  platform::files::TempFolder folder;

  /// `json` is the whole object of forced values.
  void force(std::string_view json) const {
    platform::files::atomicWrite(json, folder / (std::string("managed/") + domain + ".json"));
  }
  std::filesystem::path data() const { return folder / "data"; }

  host::HostPlaces places() const {
    return {data(), std::make_shared<tuv::MDMPreferencesSource>(domain, folder / "managed", geteuid()),
            platform::preferences::UserPreferences(domain, folder / "config")};
  }
};

}  // namespace orvik::test
