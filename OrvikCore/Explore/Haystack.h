#pragma once

#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Format/SectionSummary.h"

namespace orvik {

struct BackupReader;

/// The stored objects of a backup that a search of contents goes through, in the order of hits: by section in
/// catalog order, then by name. Immutable once it is made; any thread may use it.
class Haystack {
 public:
  struct Straw {
    const SectionIndex* section;
    const IndexItem* item;
    std::string name;  ///< as people see it, folded as a needle is
  };

  /// Reads the indexes, on all processors.
  explicit Haystack(const BackupReader& reader);
  Haystack(const Haystack&) = delete;
  Haystack& operator=(const Haystack&) = delete;

  const std::vector<Straw>& straws() const { return straws_; }
  /// Whether every index could be read.
  bool isComplete() const { return isComplete_; }

 private:
  std::vector<std::optional<SectionIndex>> indexes_;  ///< never moved once a straw points into them
  std::vector<Straw> straws_;
  bool isComplete_ = true;
};

/// Whether searches go through a section: one with an index that isn't empty.
bool isSearched(const SectionSummary& section);

}  // namespace orvik
