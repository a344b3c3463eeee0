#pragma once

#include <stop_token>

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

// The commands that tell what a backup holds. None takes a lock or changes the folder; all throw what
// `describe` knows. `Explore/` has a room for each.

/// `orvik sections`. Needs no key: it reads nothing that is sealed.
ExitStatus sections(const SectionsArguments& arguments, Results& results);

/// `orvik show`: an object, or the entries of a section.
ExitStatus show(const ShowArguments& arguments, Results& results);

/// `orvik diff`.
ExitStatus diff(const DiffArguments& arguments, Results& results, const std::stop_token& stop);

/// `orvik search`. When it is cancelled it prints what it has found so far first.
ExitStatus search(const SearchArguments& arguments, Results& results, const std::stop_token& stop);

/// `orvik history`.
ExitStatus history(const HistoryArguments& arguments, Results& results, const std::stop_token& stop);

/// `orvik export`.
ExitStatus exportObjects(const ExportArguments& arguments, Results& results, const std::stop_token& stop);

}  // namespace orvik::host
