#pragma once

#include <stop_token>

#include "Platform/SecretString.h"
#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/HostPlaces.h"
#include "orvik/Output/Output.h"

namespace orvik::host {

// Each throws what `describe` knows. Only `addOrg` makes a database where there is none.

/// `orvik orgs list`.
ExitStatus listOrgs(const ListOrgsArguments& arguments, const HostPlaces& places, Results& results);

/// `orvik orgs add`. A name means one organization: one that another has, in any case, is refused.
ExitStatus addOrg(const AddOrgArguments& arguments, platform::SecretString environmentSecret,
                  const HostPlaces& places, Results& results, const std::stop_token& stop);

/// `orvik orgs remove`: the organization with its secret and the devices that are cached of it.
ExitStatus removeOrg(const RemoveOrgArguments& arguments, const HostPlaces& places, Results& results,
                     const std::stop_token& stop);

/// `orvik orgs rename`.
ExitStatus renameOrg(const RenameOrgArguments& arguments, const HostPlaces& places, Results& results,
                     const std::stop_token& stop);

}  // namespace orvik::host
