#pragma once

#include <ostream>

#include "orvikctl/Arguments.h"

namespace orvik::ctl {

/// Deletes what no backup of a folder refers to. Returns the exit status.
int gc(const Arguments& arguments, std::ostream& out);

/// Moves single object files into one pack file. Returns the exit status.
int pack(const Arguments& arguments, std::ostream& out);

}  // namespace orvik::ctl
