#pragma once

#include <cstdlib>

#include "Platform/Files/Files.h"

namespace orvik::test {

/// The user's data folder of this test program: the machine's own identities and secrets play no part in it.
inline const platform::files::TempFolder& ownDataHome() {
  static const platform::files::TempFolder folder;
  return folder;
}

inline const bool hasOwnDataHome = ::setenv("XDG_DATA_HOME", ownDataHome().path().c_str(), 1) == 0;

/// Where this user's identities are looked for.
inline std::filesystem::path identitiesFolder() { return ownDataHome() / "orvik" / "identities"; }

}  // namespace orvik::test
