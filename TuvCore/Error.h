#pragma once

#include "Platform/Error.h"

namespace tuv {

/// The root of this system's failures; see `platform::Error`.
using Error = platform::Error;

}  // namespace tuv
