#include "JamfCore/Services/ListRequest.h"

namespace jamf {

std::string exactFilter(std::string_view field, std::string_view value) {
  std::string filter(field);
  filter += "==\"";
  for (const char c : value) {
    if (c == '"' || c == '\\') filter += '\\';
    filter += c;
  }
  return filter += '"';
}

}  // namespace jamf
