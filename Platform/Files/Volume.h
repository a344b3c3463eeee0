#pragma once

#include <string_view>

#include "Platform/Files/Files.h"

/// What a folder lies on.
namespace platform::files {

enum class VolumeKind {
  fixed,
  network,   ///< a file system that is another machine's
  removable  ///< a medium that can be taken away
};

/// Of the volume that holds a path, or would hold it; links are followed. `fixed` where it can't be told. May
/// take as long as a network volume takes to answer.
VolumeKind volumeKind(const Path& path) noexcept;

/// The system's tables that tell it.
struct VolumeTables {
  std::string_view mounts;               ///< /proc/self/mountinfo, see proc(5)
  Path blockDevices = "/sys/dev/block";  ///< a link for each device, named "<major>:<minor>"
};
/// The same for an absolute path without links.
VolumeKind volumeKind(const Path& path, const VolumeTables& tables);

}  // namespace platform::files
