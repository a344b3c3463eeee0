#pragma once

#include <atomic>

namespace sample {

/// Where servers of several releases answer differently. The defaults are those of a present release; each
/// may be changed while the server runs, from any thread.
struct Dialect {
  /// Without them the paths of that version are not found.
  std::atomic<bool> groupsV3 = true;
  std::atomic<bool> patchV3 = true;
  std::atomic<bool> inventoryV4 = true;

  /// A computer's attributes stand under `extensionAttributeValues`, not under `extensionAttributes`.
  std::atomic<bool> attributesNamedValues = false;
  /// A POST of the Pro interface is answered with the whole object, not with its id and address alone.
  std::atomic<bool> createGivesObject = false;
  /// The record of a smart group tells its id.
  std::atomic<bool> smartGroupTellsID = false;
  /// The record of a static group tells its members.
  std::atomic<bool> staticGroupTellsMembers = false;
  /// An empty list in the scope of a policy or profile is `{}`.
  std::atomic<bool> emptyScopeListIsObject = false;
  /// The answer to a Classic create or change names no id.
  std::atomic<bool> classicWriteHidesID = false;
  /// A PATCH of a computer is answered with its record, not with status 204.
  std::atomic<bool> patchGivesRecord = false;
};

}  // namespace sample
