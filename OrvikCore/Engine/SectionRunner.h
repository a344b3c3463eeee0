#pragma once

#include <functional>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "OrvikCore/Engine/RunContext.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "OrvikCore/Format/SectionSummary.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Jamf/SectionLists.h"

namespace orvik {

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

  /// The result of one object.
  using Outcome = std::variant<IndexItem, ItemError>;
  struct Outcomes {
    std::vector<IndexItem> items;
    std::vector<ItemError> errors;
  };
  using Operation = std::function<IndexItem(const ListEntry&, const std::stop_token&)>;

  /// Runs `operation` for each entry, at most `width` at a time (default: the run's limit of requests), and
  /// gives the outcomes in the order of the list. Entries that the journal of an interrupted run holds are
  /// taken from it without a request; each new item is appended to the journal. Throws
  /// `platform::CancellationError`.
  Outcomes mapConcurrently(const std::vector<ListEntry>& entries, std::optional<int> width,
                           const Operation& operation, const std::stop_token& stop) const;

 private:
  struct Reading {
    std::map<std::string, std::string> sources;  ///< labels to path templates
    Outcomes outcomes;
  };

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

  const SectionDefinition& definition_;
  const RunContext& context_;
};

}  // namespace orvik
