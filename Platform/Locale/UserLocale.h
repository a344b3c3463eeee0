#pragma once

#include <string>

namespace platform::locale {

/// The name of the user's locale for one category, "LC_TIME" or "LC_COLLATE": the first of LC_ALL, the
/// category and LANG that is set and not empty, without encoding and modifier, as in "de_DE". Empty for C and
/// POSIX and where none is set.
std::string userLocale(const char* category);

}  // namespace platform::locale
