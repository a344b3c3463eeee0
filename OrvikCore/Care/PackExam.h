#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Care/ContentProof.h"
#include "OrvikCore/Care/ContentShare.h"
#include "OrvikCore/Store/ObjectKey.h"
#include "OrvikCore/Store/PackIndex.h"

namespace orvik {

/// What a pack is found to be, by its index.
struct PackExam {
  enum class State {
    gone,             ///< the index vanished meanwhile
    indexUnreadable,  ///< or it names no plain file
    packMissing,
    readable,
  };

  std::string index;  ///< file name
  std::string pack;   ///< file name; of an unreadable index the one that would be its pair
  State state = State::readable;
  std::int64_t packBytes = 0;
  std::size_t entries = 0;
  std::size_t foreign = 0;         ///< names that no object can have, or ranges that are not two numbers
  std::size_t overlapping = 0;     ///< entries that begin before another ends
  std::vector<ObjectKey> outside;  ///< the entry lies outside the file
  std::vector<ObjectKey> damaged;  ///< the bytes don't reproduce the name, or can't be read
  std::vector<ObjectKey> notJSON;  ///< intact, and no JSON
  std::size_t read = 0;            ///< entries that were read
  std::size_t sealed = 0;          ///< of those, what nobody could look into
  std::int64_t bytesRead = 0;

  /// Whether the pack has to be written anew.
  bool isDamaged() const { return !outside.empty() || !damaged.empty() || foreign != 0 || overlapping != 0; }
};

/// Looks at a pack: all ranges, and the content of entries whose names are in `share`, on all cores, one
/// entry for each in memory. Throws `platform::CancellationError`.
PackExam examinePack(const std::filesystem::path& index, const ContentProof& proof, const ContentShare& share,
                     const std::stop_token& stop = {});

}  // namespace orvik
