#pragma once

#include <string>
#include <vector>

#include "orvik/CommandTable.h"

namespace orvik::host {

/// A page of the manual in the language of man(7).
struct ManualPage {
  std::string fileName;  ///< "orvik-lock.1"
  std::string text;
};

/// orvik(1), and a page for each command with all that stands behind it, such as orvik-lock(1). Pure: the
/// same program gives the same bytes.
std::vector<ManualPage> manualPages(const CommandDescription& program);

}  // namespace orvik::host
