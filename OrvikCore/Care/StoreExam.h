#pragma once

#include <cstddef>
#include <cstdint>
#include <stop_token>
#include <vector>

#include "OrvikCore/Care/CareProgress.h"
#include "OrvikCore/Care/ContentProof.h"
#include "OrvikCore/Care/ContentShare.h"
#include "OrvikCore/Care/Finding.h"
#include "OrvikCore/Care/PackExam.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/ObjectKey.h"

namespace orvik {

/// What the store of a folder holds, and what is not as it should be.
struct StoreExam {
  /// A single file under its proper name.
  struct Stored {
    ObjectKey key;
    std::int64_t bytes = 0;
  };
  std::vector<Stored> objects;  ///< single object files
  std::vector<Stored> files;    ///< package files
  std::vector<PackExam> packs;  ///< one for each index, by its name

  KeySet held;      ///< objects that have a single file with content
  KeySet bad;       ///< objects of which a copy is damaged, empty or can't be read
  KeySet badFiles;  ///< the same of package files
  KeySet notJSON;   ///< intact objects that are no JSON

  /// About the store alone; who needs what is still to be found.
  std::vector<Finding> findings;

  ContentShare share = ContentShare::none();  ///< of package files what was read
  std::size_t objectsRead = 0;                ///< packed or not
  std::size_t filesRead = 0;
  std::size_t sealed = 0;  ///< objects that nobody could look into
  std::int64_t bytesRead = 0;
};

/// Looks at everything in "store" but downloads. Single files of each kind are listed with their sizes; what
/// `reading` asks for is read, on all cores, in pieces. Links are followed as readers follow them. Nothing is
/// written. Throws `platform::CancellationError`.
StoreExam examineStore(const BackupRepository& repository, const ContentProof& proof, const Reading& reading,
                       const CareProgress& progress, const std::stop_token& stop = {});

/// The name that an empty object or file has.
const ObjectKey& emptyContentKey();

}  // namespace orvik
