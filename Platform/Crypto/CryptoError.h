#pragma once

#include "Platform/Error.h"

namespace platform {

/// A key, a point or a box that is not what it has to be, or an algorithm that this system lacks. The text
/// never holds key material.
class CryptoError : public Error {
 public:
  using Error::Error;
};

}  // namespace platform
