#pragma once

#include <memory>
#include <stop_token>
#include <string>

#include "JamfCore/Automation/Playbook.h"
#include "JamfCore/Networking/APIClient.h"
#include "orvik/Arguments.h"
#include "orvik/HostPlaces.h"
#include "orvik/Orgs/Organizations.h"
#include "orvik/Output/Report.h"
#include "orvik/Playbook/SavedPlan.h"

namespace orvik::host {

/// A playbook and the server that it is for. Calls block.
class PlaybookServer {
 public:
  /// Reads the playbook first. Throws what `describe` knows: for the file, the document, the organization and
  /// its secret.
  PlaybookServer(const PlaybookServerArguments& arguments, const HostPlaces& places,
                 const std::stop_token& stop);

  const jamf::Playbook& playbook() const { return playbook_; }
  const std::string& organization() const { return organization_.record.name; }
  const std::shared_ptr<jamf::APIClient>& client() const { return organization_.client; }

  /// What is to be done as the server is now; shown as a step while it is found out. Writes nothing. Throws
  /// `CancellationError` alone.
  SavedPlan plan(const Report& report, const std::stop_token& stop) const;

 private:
  std::string digest_;
  jamf::Playbook playbook_;
  ChosenOrganization organization_;
};

/// The plan as text or JSON lines, without its summary.
void printPlan(const SavedPlan& plan, const Report& report);
/// The members of a last line: "playbook", "organization", "baseURL" and a number for each action.
platform::json::Value planJSON(const SavedPlan& plan);

}  // namespace orvik::host
