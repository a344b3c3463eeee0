#pragma once

#include <ostream>

#include "orvikctl/Arguments.h"

namespace orvik::ctl {

/// Makes the backup report and the security report of a stored backup, into its folder or as plain files into
/// the folder of `--out`. Returns the exit status.
int report(const Arguments& arguments, std::ostream& out);

}  // namespace orvik::ctl
