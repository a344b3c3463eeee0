#pragma once

#include "OrvikCore/Care/CareProgress.h"
#include "orvik/Output/ProgressView.h"

namespace orvik::host {

/// Shows the steps of long work on a folder. The view must outlive it.
inline CareProgress shownOn(ProgressView& view) {
  return {[&view](const std::string& what) { view.step(what); },
          [&view](std::size_t done, std::size_t total) { view.progress(done, total); }};
}

}  // namespace orvik::host
