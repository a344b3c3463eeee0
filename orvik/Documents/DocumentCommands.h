#pragma once

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

// The commands that tell other programs what this one can be asked.

/// `orvik completion`: prints the script.
ExitStatus printCompletion(const CompletionArguments& arguments, Results& results);

/// `orvik manual`: writes the pages into a folder, which is made, over those that are there.
ExitStatus writeManual(const ManualArguments& arguments, Results& results);

}  // namespace orvik::host
