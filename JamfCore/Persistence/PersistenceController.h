#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string_view>

#include "JamfCore/Persistence/ModelContext.h"
#include "TuvCore/Error.h"

namespace jamf {

/// The local database can't be had.
class PersistenceError : public tuv::Error {
 public:
  explicit PersistenceError(const std::string& reason)
      : Error("Failed to create SwiftData ModelContainer: " + reason) {}
};

/// The local database: one file with organizations, playbooks, schedules and cached devices.
namespace PersistenceController {

inline constexpr std::string_view schemaVersion = "1.0.0";
/// Stands in every file; never change.
inline constexpr std::int32_t applicationID = 0x4F724F67;

/// Opens the database, and makes it (0600, in a folder of 0700) where there is none; any number of processes
/// may do so at once. Each call gives a connection of its own: one for each thread that works with it.
///
/// Throws `PersistenceError`: also for a file that is damaged, cut off, of another program or of a newer
/// schema, or that can't be written. That file is then as it was.
std::shared_ptr<ModelContext> makeContainer(const std::filesystem::path& path);

}  // namespace PersistenceController
}  // namespace jamf
