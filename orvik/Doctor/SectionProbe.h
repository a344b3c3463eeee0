#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Networking/JamfRequesting.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "orvik/Doctor/AnswerWatch.h"

namespace orvik::host {

/// What became of the first request that a backup makes for a section.
struct SectionProbe {
  enum class Result {
    answered,
    notFound,      ///< 404 or 410
    notPermitted,  ///< 403, or the 401 of the Classic interface, with a token that is good
    failed
  };

  const SectionDefinition* section = nullptr;  ///< a row of the catalog
  std::string path;                            ///< that was asked last
  Result result = Result::failed;
  std::string problem;  ///< why it was not answered, in a sentence
  std::optional<Deprecation> deprecation;
};

using OnProbe = std::function<void(std::size_t done, std::size_t total)>;

/// Asks for the list of every section that has one, in the shortest form that the server knows, `width` at a
/// time; the paths in catalog order. The package files have no list of their own. Throws
/// `platform::CancellationError`.
std::vector<SectionProbe> probeSections(jamf::JamfRequesting& server, const AnswerWatch& watch,
                                        std::size_t width, const OnProbe& onProbe,
                                        const std::stop_token& stop);

}  // namespace orvik::host
