#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "SampleServer/Fleet.h"

namespace sample {

/// Changes, renames, adds and removes `count` objects of a few sections, as administrators do between two
/// backups. The same seed does the same to the same fleet. A sentence for each, "Renamed policies 12 to ...".
std::vector<std::string> mutate(Fleet& fleet, std::size_t count, std::uint64_t seed);

}  // namespace sample
