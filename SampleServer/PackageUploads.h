#pragma once

#include <vector>

#include "SampleServer/Dialect.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/Route.h"

namespace sample {

/// Takes the files of packages, which the cloud then lists and hands out. They are held in memory. Any thread
/// may call, but one write at a time.
class PackageUploads {
 public:
  PackageUploads(Fleet& fleet, const Dialect& dialect) : fleet_(fleet), dialect_(dialect) {}

  std::vector<Route> routes();

 private:
  Answer take(const Call& call);

  Fleet& fleet_;
  const Dialect& dialect_;
};

}  // namespace sample
