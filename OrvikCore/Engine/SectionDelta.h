#pragma once

#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Format/SectionSummary.h"

namespace orvik {

/// Compares an index with the parent's (null: none): sets each item's `change` and the list of removed items,
/// and returns the counts. An item changed when its objects, or its file's hash, differ.
///
/// An object that failed in this run is not among the items, so it is listed in `errors` and in `removed`;
/// readers take `errors` first.
ChangeCounts applyDelta(SectionIndex& index, const SectionIndex* parent);

}  // namespace orvik
