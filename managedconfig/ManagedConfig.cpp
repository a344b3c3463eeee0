#include "managedconfig/ManagedConfig.h"

namespace tuv {

void ManagedConfig::refresh() {
  if (auto* managed = dynamic_cast<MDMPreferencesSource*>(mdmSource_.get());
      managed && !managed->domain().empty())
    managed->synchronize();
  ++generation_;
}

}  // namespace tuv
