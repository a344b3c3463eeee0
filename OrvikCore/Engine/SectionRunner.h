#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "OrvikCore/Engine/DeviceSpec.h"
#include "OrvikCore/Engine/RunContext.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Format/SectionSummary.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Jamf/SectionLists.h"

namespace orvik {

/// What came of the objects of a section.
struct SectionOutcomes {
  std::vector<IndexItem> items;
  std::vector<ItemError> errors;
};

/// What reading a section gives, whatever its kind.
struct SectionReading {
  std::map<std::string, std::string> sources;  ///< labels to path templates
  SectionOutcomes outcomes;
};

/// Reads one section of the catalog from the server into the store, journals each finished object, compares
/// the result with the parent backup and writes the section's index into the run's working folder.
///
/// Made for one section, for one `run`. Objects are read side by side on threads of its own; events come from
/// the calling thread. The context must outlive it.
class SectionRunner {
 public:
  SectionRunner(const SectionDefinition& definition, const RunContext& context)
      : definition_(definition), context_(context) {}

  /// The summary also of a section that could not be read; objects that could not be read only make it
  /// partial. Throws `platform::CancellationError`, and what writing the index throws.
  SectionSummary run(const std::stop_token& stop) const;

  using DeviceSpec = orvik::DeviceSpec;

  /// The result of one object.
  using Outcome = std::variant<IndexItem, ItemError>;
  using Operation = std::function<IndexItem(const ListEntry&, const std::stop_token&)>;

  /// Runs `operation` for each entry, at most `width` at a time (default: the run's limit of requests), and
  /// gives the outcomes in the order of the list. Entries that the journal of an interrupted run holds are
  /// taken from it without a request; each new item is appended to the journal. Throws
  /// `platform::CancellationError`.
  SectionOutcomes mapConcurrently(const std::vector<ListEntry>& entries, std::optional<int> width,
                                  const Operation& operation, const std::stop_token& stop) const;

  // For those who read a kind of section.

  /// The parent backup's index of this section, or null; read once. Only the thread of `run` may call.
  const SectionIndex* parentIndex() const;
  /// Puts an answer into the store and gives its name; counts the ones that are no JSON. Any thread may call.
  std::string storeObject(const platform::Bytes& body) const;
  /// Throws `tuv::Error` for an id that can't stand in a request path.
  static void requirePathComponent(const std::string& id);

 private:
  using Reading = SectionReading;

  Reading read(const std::stop_token& stop) const;
  Reading readClassicList(const SectionDefinition::ClassicList& kind, const std::stop_token& stop) const;
  Reading readAccounts(const std::stop_token& stop) const;
  Reading readPro(const SectionDefinition::Pro& kind, const std::stop_token& stop) const;
  Reading singleObject(std::string variant, std::string path, const platform::Bytes& body) const;

  IndexItem readClassicObject(const ListEntry& entry, const std::stop_token& stop) const;
  IndexItem storeItem(const ListEntry& entry, std::string variant, const platform::Bytes& body) const;
  Outcome outcomeOf(const ListEntry& entry, const Operation& operation, const std::stop_token& stop) const;

  SectionSummary summarize(Reading reading) const;
  SectionSummary failure(const std::exception& error, const std::stop_token& stop) const;
  void noteStrangeAnswers() const;

  const SectionDefinition& definition_;
  const RunContext& context_;
  mutable std::atomic<std::size_t> strangeAnswers_ = 0;  ///< stored though they are no JSON
  mutable bool hasLookedForParent_ = false;
  mutable std::optional<SectionIndex> parent_;
};

}  // namespace orvik
