#pragma once

#include <memory>
#include <stop_token>
#include <string>
#include <utility>
#include <vector>

#include "JamfCore/Tools/JamfTool.h"

/// How the tools of the catalog are put together; for its sources alone.
namespace jamf::tools {

using Arguments = JamfTool::Arguments;
using Client = std::shared_ptr<APIClient>;

inline JamfToolParameter text(std::string name, std::string description) {
  return {std::move(name), std::move(description), ParameterType::string, false};
}
inline JamfToolParameter integer(std::string name, std::string description) {
  return {std::move(name), std::move(description), ParameterType::integer, false};
}
inline JamfToolParameter flag(std::string name, std::string description) {
  return {std::move(name), std::move(description), ParameterType::boolean, false};
}
inline JamfToolParameter required(JamfToolParameter parameter) {
  parameter.required = true;
  return parameter;
}

/// A tool on one organization: its first parameter names it, and `call` gets its client, the arguments and a
/// stop token. What `call` gives is encoded.
template <class Call>
JamfTool tool(std::string name, std::string description, std::vector<JamfToolParameter> parameters,
              Call call) {
  parameters.insert(parameters.begin(),
                    required(text("orgName", "Organization name from list_organizations")));
  return {std::move(name), std::move(description), std::move(parameters),
          [call = std::move(call)](OrgManager& organizations, const Arguments& arguments,
                                   const std::stop_token& stop) {
            const auto organization = JamfTool::stringArgument(arguments, "orgName");
            const auto client = JamfTool::apiClient(organization, organizations);
            return JamfTool::encode(call(client, arguments, stop));
          }};
}

}  // namespace jamf::tools
