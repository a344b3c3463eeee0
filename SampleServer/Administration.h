#pragma once

#include <mutex>
#include <optional>
#include <vector>

#include "SampleServer/ClassicObjects.h"
#include "SampleServer/ComputerGroups.h"
#include "SampleServer/Dialect.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/Inventory.h"
#include "SampleServer/PackageUploads.h"
#include "SampleServer/PatchTitles.h"
#include "SampleServer/ProObjects.h"
#include "SampleServer/Route.h"

namespace sample {

/// Serves what an administrator's client asks beyond what a backup reads: writes, filtered lists, and views
/// that no section of its own has. Any thread may call; writes come one after the other.
class Administration {
 public:
  Administration(Fleet& fleet, const Dialect& dialect);

  struct Task {
    const Route& route;
    Call call;
  };

  /// What a request asks for; nothing where the fleet's plain answers are all that there is.
  std::optional<Task> find(const Request& request) const;
  /// Nothing where the fleet's plain answer is the right one. Throws `Refusal`.
  std::optional<Answer> serve(const Task& task);

 private:
  // Constant after construction.
  ProObjects objects_;
  ComputerGroups groups_;
  ClassicObjects classic_;
  Inventory inventory_;
  PatchTitles titles_;
  PackageUploads uploads_;
  std::vector<Route> routes_;

  std::mutex writing_;  // held while a write is carried out, never while its answer is sent
};

}  // namespace sample
