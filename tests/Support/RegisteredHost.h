#pragma once

#include <string>
#include <vector>

#include "OrvikCore/Config/InstanceStore.h"
#include "OrvikCore/Config/ManagedInstances.h"
#include "OrvikCore/Config/ScheduleStore.h"
#include "tests/Support/Folders.h"
#include "tests/Support/ProgramHost.h"

namespace orvik::test {

/// The real program with a home in which servers are registered and runs are planned.
class RegisteredHost : public ProgramHost {
 protected:
  /// Registers a server that need not exist.
  InstanceConfig registered(const std::string& name, const std::string& url) const {
    const InstanceConfig instance{ManagedInstances::stableID(url, "4711"), name, url, "4711", {}};
    auto all = InstanceStore(data).load();
    all.push_back(instance);
    InstanceStore(data).save(all);
    return instance;
  }

  ScheduledRun planned(const platform::UUID& instanceID, platform::Date date) const {
    auto runs = schedule().load();
    runs.push_back({platform::UUID::random(), instanceID, std::chrono::floor<std::chrono::seconds>(date)});
    schedule().save(runs);
    return runs.back();
  }

  ScheduleStore schedule() const { return ScheduleStore(data); }

  const std::filesystem::path data = home / ".local/share/orvik";
};

}  // namespace orvik::test
