#pragma once

#include "orvik/Arguments.h"
#include "orvik/ExitStatus.h"
#include "orvik/Output/Output.h"
#include "orvik/Settings/Settings.h"

namespace orvik::host {

/// `orvik config show`.
ExitStatus showSettings(const ShowSettingsArguments& arguments, const Settings& settings, Results& results);

/// `orvik config set` and `orvik config unset`. Throws as `Settings::choose`.
ExitStatus chooseSetting(const ChooseSettingArguments& arguments, Settings& settings);

}  // namespace orvik::host
