#include "OrvikCore/Engine/SectionRunner.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "JamfCore/Networking/Endpoint.h"
#include "OrvikCore/Engine/DeviceSection.h"
#include "OrvikCore/Engine/FileSection.h"
#include "OrvikCore/Engine/SectionDelta.h"
#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/DownloadError.h"
#include "OrvikCore/Jamf/RequestOutcome.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Concurrency/TaskGroup.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace {

constexpr int proPageSize = 200;
constexpr std::size_t progressStep = 25;

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

void throwIfCancelled(const std::exception& error, const std::stop_token& stop) {
  if (stop.stop_requested() || RequestOutcome::classify(error).kind == RequestOutcome::Kind::cancelled)
    throw platform::CancellationError();
}

[[noreturn]] void refuseID(const std::string& id) {
  throw tuv::Error(fmt::format("The id \"{}\" can't be part of a request path.", id));
}

}  // namespace

SectionSummary SectionRunner::run(const std::stop_token& stop) const {
  Reading reading;
  try {
    reading = read(stop);
  } catch (const std::exception& error) {
    return failure(error, stop);
  }
  noteStrangeAnswers();
  return summarize(std::move(reading));
}

SectionSummary SectionRunner::summarize(Reading reading) const {
  SectionIndex index{std::string(definition_.id),
                     std::string(definition_.title),
                     std::move(reading.sources),
                     std::move(reading.outcomes.items),
                     {},
                     std::move(reading.outcomes.errors)};

  SectionSummary summary;
  summary.id = definition_.id;
  summary.title = definition_.title;
  summary.counts = applyDelta(index, parentIndex());
  summary.index = BackupFormat::sectionPath(definition_.id);
  BackupRepository::writeIndex(index, context_.partial / *summary.index, context_.cipher);
  if (!index.errors.empty()) {
    summary.status = SectionSummary::Status::partial;
    summary.message = fmt::format("{} object(s) could not be read", index.errors.size());
  }
  return summary;
}

SectionSummary SectionRunner::failure(const std::exception& error, const std::stop_token& stop) const {
  throwIfCancelled(error, stop);
  SectionSummary summary;
  summary.id = definition_.id;
  summary.title = definition_.title;
  switch (RequestOutcome::classify(error).kind) {
    case RequestOutcome::Kind::notFound:
      summary.status = SectionSummary::Status::notAvailable;
      summary.message = "Not available on this Jamf Pro version (HTTP 404).";
      break;
    case RequestOutcome::Kind::notPermitted:
      summary.status = SectionSummary::Status::notPermitted;
      summary.message =
          fmt::format("Not permitted (HTTP 403). Add \"{}\" to the API role.", definition_.privilege);
      break;
    default:
      summary.status = SectionSummary::Status::failed;
      summary.message = describeFailure(error);
  }
  return summary;
}

SectionRunner::Reading SectionRunner::read(const std::stop_token& stop) const {
  return std::visit(
      Overloaded{
          [&](const SectionDefinition::ClassicList& kind) { return readClassicList(kind, stop); },
          [&](const SectionDefinition::ClassicSingle& kind) {
            const auto path = fmt::format("JSSResource/{}", kind.path);
            return singleObject("classic", path, context_.pipeline.get(path, {}, stop));
          },
          [&](const SectionDefinition::Pro& kind) { return readPro(kind, stop); },
          [&](const SectionDefinition::ClassicAccounts&) { return readAccounts(stop); },
          [&](const SectionDefinition::Devices& kind) {
            return DeviceSection(DeviceSpec::spec(kind.kind), context_, *this).read(stop);
          },
          [&](const SectionDefinition::Files&) {
            return FileSection(definition_, context_).run(*this, stop);
          },
      },
      definition_.kind);
}

SectionRunner::Reading SectionRunner::readClassicList(const SectionDefinition::ClassicList& kind,
                                                      const std::stop_token& stop) const {
  const auto listPath = fmt::format("JSSResource/{}", kind.list);
  auto entries = classicEntries(context_.pipeline.get(listPath, {}, stop), kind.key);
  for (auto& entry : entries)
    if (jamf::isPathComponent(entry.id))
      entry.path = fmt::format("JSSResource/{}/id/{}", kind.detail, entry.id);

  Reading reading;
  reading.sources = {{"list", listPath}, {"classic", fmt::format("JSSResource/{}/id/{{id}}", kind.detail)}};
  reading.outcomes = mapConcurrently(
      entries, {},
      [this](const ListEntry& entry, const std::stop_token& token) {
        return readClassicObject(entry, token);
      },
      stop);
  return reading;
}

SectionRunner::Reading SectionRunner::readAccounts(const std::stop_token& stop) const {
  const std::string listPath = "JSSResource/accounts";
  const auto entries = accountEntries(context_.pipeline.get(listPath, {}, stop));

  Reading reading;
  reading.sources = {{"list", listPath}, {"classic", "JSSResource/accounts/userid|groupid/{id}"}};
  reading.outcomes = mapConcurrently(
      entries, {},
      [this](const ListEntry& entry, const std::stop_token& token) {
        return readClassicObject(entry, token);
      },
      stop);
  return reading;
}

SectionRunner::Reading SectionRunner::readPro(const SectionDefinition::Pro& kind,
                                              const std::stop_token& stop) const {
  const std::string path(kind.path);
  auto response = proFetch(context_.pipeline, path, {}, proPageSize, stop);
  if (const auto* single = std::get_if<platform::Bytes>(&response)) return singleObject("pro", path, *single);

  const auto entries = proEntries(std::get<std::vector<JSONTree>>(response), kind);
  response = platform::Bytes();

  Reading reading;
  reading.sources = {{"pro", path}};
  if (!kind.detail.empty()) reading.sources.emplace("detail", fmt::format("{}/{{id}}", kind.detail));
  reading.outcomes = mapConcurrently(
      entries, {},
      [&](const ListEntry& entry, const std::stop_token& token) {
        if (!kind.detail.empty()) {
          requirePathComponent(entry.id);
          return storeItem(entry, "pro", context_.pipeline.get(*entry.path, {}, token));
        }
        const auto body = entry.payload ? entry.payload->serialized() : std::nullopt;
        if (!body) throw DownloadError::noSource("empty list element");
        return storeItem(entry, "pro", *body);
      },
      stop);
  return reading;
}

SectionRunner::Reading SectionRunner::singleObject(std::string variant, std::string path,
                                                   const platform::Bytes& body) const {
  const ListEntry entry{"settings", std::string(definition_.title), path, {}};
  Reading reading;
  reading.outcomes.items.push_back(storeItem(entry, variant, body));
  reading.sources.emplace(std::move(variant), std::move(path));
  return reading;
}

IndexItem SectionRunner::readClassicObject(const ListEntry& entry, const std::stop_token& stop) const {
  if (!entry.path) refuseID(entry.id);
  return storeItem(entry, "classic", context_.pipeline.get(*entry.path, {}, stop));
}

IndexItem SectionRunner::storeItem(const ListEntry& entry, std::string variant,
                                   const platform::Bytes& body) const {
  IndexItem item;
  item.id = entry.id;
  item.name = entry.name;
  item.objects.emplace(std::move(variant), storeObject(body));
  return item;
}

std::string SectionRunner::storeObject(const platform::Bytes& body) const {
  auto stored = context_.store.store(body);
  if (!stored.isJSON) ++strangeAnswers_;
  return std::move(stored.name);
}

void SectionRunner::requirePathComponent(const std::string& id) {
  if (!jamf::isPathComponent(id)) refuseID(id);
}

const SectionIndex* SectionRunner::parentIndex() const {
  if (!std::exchange(hasLookedForParent_, true)) parent_ = context_.parentIndex(definition_.id);
  return parent_ ? &*parent_ : nullptr;
}

/// The server's own programming interface answers in JSON; a login page or a proxy's error does not.
void SectionRunner::noteStrangeAnswers() const {
  if (const auto count = strangeAnswers_.load())
    context_.emit(BackupEvents::Note{fmt::format(
        "Section \"{}\": {} {} not JSON, as from a login page or a proxy, and {} stored as {} came.",
        definition_.title, count, count == 1 ? "answer was" : "answers were", count == 1 ? "is" : "are",
        count == 1 ? "it" : "they")});
}

SectionRunner::Outcome SectionRunner::outcomeOf(const ListEntry& entry, const Operation& operation,
                                                const std::stop_token& stop) const try {
  platform::throwIfCancelled(stop);
  auto item = operation(entry, stop);
  context_.journal.append({std::string(definition_.id), item});
  return item;
} catch (const std::exception& error) {
  throwIfCancelled(error, stop);
  switch (RequestOutcome::classify(error).kind) {
    case RequestOutcome::Kind::notFound:
      return ItemError{entry.id, entry.name, "Deleted while the backup ran (HTTP 404)"};
    case RequestOutcome::Kind::notPermitted:
      return ItemError{entry.id, entry.name, "Not permitted (HTTP 403)"};
    default:
      return ItemError{entry.id, entry.name, describeFailure(error)};
  }
}

SectionOutcomes SectionRunner::mapConcurrently(const std::vector<ListEntry>& entries,
                                               std::optional<int> width, const Operation& operation,
                                               const std::stop_token& stop) const {
  const std::string id(definition_.id);
  std::vector<std::optional<Outcome>> slots(entries.size());
  context_.emit(BackupEvents::SectionProgress{id, 0, entries.size()});

  std::vector<std::size_t> open;
  const auto journaled = context_.journaled.find(id);
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const bool known = journaled != context_.journaled.end() && journaled->second.contains(entries[i].id);
    if (known)
      slots[i] = journaled->second.find(entries[i].id)->second;
    else
      open.push_back(i);
  }

  std::size_t done = entries.size() - open.size();
  const int limit = std::max(width.value_or(context_.job.options.maxConcurrentRequests), 1);
  platform::TaskGroup<Outcome>::run(
      open.size(), static_cast<std::size_t>(limit), stop,
      [&](std::size_t task, const std::stop_token& token) {
        return outcomeOf(entries[open[task]], operation, token);
      },
      [&](std::size_t task, Outcome outcome) {
        slots[open[task]] = std::move(outcome);
        ++done;
        if (done % progressStep == 0 || done == entries.size())
          context_.emit(BackupEvents::SectionProgress{id, done, entries.size()});
      });

  SectionOutcomes outcomes;
  for (auto& slot : slots) {
    if (auto* item = std::get_if<IndexItem>(&*slot))
      outcomes.items.push_back(std::move(*item));
    else
      outcomes.errors.push_back(std::move(std::get<ItemError>(*slot)));
  }
  return outcomes;
}

}  // namespace orvik
