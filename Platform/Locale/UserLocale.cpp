#include "Platform/Locale/UserLocale.h"

#include <unicode/locid.h>

#include <cstdlib>
#include <string_view>

namespace platform::locale {

std::string userLocale(const char* category) {
  for (const char* variable : {"LC_ALL", category, "LANG"}) {
    const char* value = std::getenv(variable);
    if (!value || !*value) continue;
    std::string_view name = value;
    std::string bare(name.substr(0, name.find_first_of(".@")));
    const bool named = bare != "C" && bare != "POSIX" && !icu::Locale(bare.c_str()).isBogus();
    return named ? bare : std::string();
  }
  return {};
}

}  // namespace platform::locale
