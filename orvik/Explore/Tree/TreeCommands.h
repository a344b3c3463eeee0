#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

/// `orvik export --tree`: one backup as a folder of text files.
ExitStatus exportToFolder(const ExportArguments& arguments, Results& results, const std::stop_token& stop);

/// `orvik export --git`: the backups that a repository lacks as commits, one each, oldest first.
ExitStatus exportToGit(const ExportArguments& arguments, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
