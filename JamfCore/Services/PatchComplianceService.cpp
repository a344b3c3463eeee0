#include "JamfCore/Services/PatchComplianceService.h"

#include "JamfCore/Services/ObjectCalls.h"

namespace jamf {

namespace {

ObjectCalls calls(const PatchComplianceService& service) {
  return {*service.client, "api/v3/patch-software-title-configurations",
          "api/v2/patch-software-title-configurations"};
}

}  // namespace

std::vector<PatchSoftwareTitleConfiguration> PatchComplianceService::list(const std::stop_token& stop) const {
  return calls(*this).send<std::vector<PatchSoftwareTitleConfiguration>>(Endpoint{}, "", stop);
}

PatchSoftwareTitleConfiguration PatchComplianceService::get(const std::string& id,
                                                            const std::stop_token& stop) const {
  return calls(*this).get<PatchSoftwareTitleConfiguration>(id, stop);
}

PatchSummary PatchComplianceService::summary(const std::string& id, const std::stop_token& stop) const {
  return calls(*this).send<PatchSummary>(Endpoint{}, ObjectCalls::below(id) + "/patch-summary", stop);
}

PatchReportPage PatchComplianceService::report(const std::string& id, const ListRequest& request,
                                               const std::stop_token& stop) const {
  const auto titles = calls(*this);
  return titles.send<PatchReportPage>(titles.listEndpoint(request), ObjectCalls::below(id) + "/patch-report",
                                      stop);
}

}  // namespace jamf
