#pragma once

#include "Platform/Bytes.h"

namespace platform::pdf {

/// Takes repeated entries out of the tables of images of a document that Cairo made. It names an image once
/// for each time that a page shows it, and a key may stand in a dictionary once (ISO 32000-1, 7.3.7). Blanks
/// take their place, so that every offset in the document stays.
void blankRepeatedResources(Bytes& document);

}  // namespace platform::pdf
