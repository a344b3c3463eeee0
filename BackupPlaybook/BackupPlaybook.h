#pragma once

#include <functional>
#include <stop_token>
#include <string>
#include <vector>

#include "BackupPlaybook/PlaybookConversion.h"
#include "JamfCore/Automation/Playbook.h"
#include "OrvikCore/Explore/BackupReader.h"

namespace orvik {

/// Something that a backup holds and a playbook made of it doesn't.
struct PlaybookLoss {
  const PlaybookSection* section = nullptr;
  std::string id;  ///< of the object
  std::string name;
  std::string field;   ///< the member of its record; empty when the whole object is left out
  std::string reason;  ///< of an object that is left out: why

  bool operator==(const PlaybookLoss&) const = default;
};

/// The stored objects of these sections as resources, each after those that it refers to, so that a new
/// server has them all once it is applied. Of objects of one kind and name the first in the order of names
/// stays, for a playbook finds objects by name. Each loss is handed to `onLoss` on the calling thread.
///
/// Holds one record beside the playbook. Requires: the backup read the sections. Throws
/// `platform::CancellationError` on a stop.
std::vector<jamf::PlaybookResource> playbookResources(const BackupReader& backup,
                                                      const std::vector<const PlaybookSection*>& sections,
                                                      const std::function<void(const PlaybookLoss&)>& onLoss,
                                                      const std::stop_token& stop = {});

}  // namespace orvik
