#include "orvik/Doctor/SectionProbe.h"

#include <fmt/format.h>

#include <utility>
#include <variant>

#include "JamfCore/Networking/APIError.h"
#include "OrvikCore/Engine/DeviceSpec.h"
#include "OrvikCore/Jamf/JSONTree.h"
#include "OrvikCore/Jamf/RequestOutcome.h"
#include "Platform/Concurrency/Cancellation.h"
#include "Platform/Concurrency/TaskGroup.h"

namespace orvik::host {

namespace {

using Result = SectionProbe::Result;

template <class... Cases>
struct Overloaded : Cases... {
  using Cases::operator()...;
};
template <class... Cases>
Overloaded(Cases...) -> Overloaded<Cases...>;

/// A list's path and query, and the path that an older server has it at.
struct ListRequest {
  std::string path;
  std::vector<jamf::QueryItem> query;
  std::optional<std::string> fallback;
};

const std::vector<jamf::QueryItem> oneElement{{"page", "0"}, {"page-size", "1"}};

ListRequest deviceList(SectionDefinition::DeviceKind kind) {
  const auto spec = DeviceSpec::spec(kind);
  auto query = oneElement;
  query.insert(query.end(), spec.listQuery.begin(), spec.listQuery.end());
  return {spec.list, std::move(query), spec.fallbackList};
}

/// Nothing for a section that asks for no list. The Classic interface knows no pages: a list is whole or not
/// at all.
std::optional<ListRequest> listRequestOf(const SectionDefinition& section) {
  using Found = std::optional<ListRequest>;
  return std::visit(Overloaded{
                        [](const SectionDefinition::ClassicList& kind) -> Found {
                          return ListRequest{fmt::format("JSSResource/{}", kind.list), {}, {}};
                        },
                        [](const SectionDefinition::ClassicSingle& kind) -> Found {
                          return ListRequest{fmt::format("JSSResource/{}", kind.path), {}, {}};
                        },
                        [](const SectionDefinition::Pro& kind) -> Found {
                          return ListRequest{std::string(kind.path), oneElement, {}};
                        },
                        [](const SectionDefinition::Devices& kind) -> Found { return deviceList(kind.kind); },
                        [](const SectionDefinition::ClassicAccounts&) -> Found {
                          return ListRequest{"JSSResource/accounts", {}, {}};
                        },
                        [](const SectionDefinition::Files&) -> Found { return std::nullopt; },
                    },
                    section.kind);
}

Result resultOf(const std::exception& error) {
  const auto* api = dynamic_cast<const jamf::APIError*>(&error);
  const auto* failed = api ? api->as<jamf::APIError::RequestFailed>() : nullptr;
  if (!failed) return Result::failed;
  switch (failed->statusCode) {
    case 404:
    case 410:
      return Result::notFound;
    case 401:
    case 403:
      return Result::notPermitted;
    default:
      return Result::failed;
  }
}

class Prober {
 public:
  Prober(jamf::JamfRequesting& server, const AnswerWatch& watch) : server_(server), watch_(watch) {}

  SectionProbe probe(const SectionDefinition& section, const ListRequest& request,
                     const std::stop_token& stop) const {
    auto found = ask(section, request.path, request.query, stop);
    if (found.result != Result::notFound || !request.fallback) return found;
    return ask(section, *request.fallback, oneElement, stop);
  }

 private:
  SectionProbe ask(const SectionDefinition& section, const std::string& path,
                   const std::vector<jamf::QueryItem>& query, const std::stop_token& stop) const {
    SectionProbe probe{&section, path, Result::answered, {}, {}};
    try {
      JSONTree::parse(server_.get(path, query, stop));
    } catch (const platform::json::ParseError&) {
      probe.result = Result::failed;
      probe.problem = "The answer is not JSON, as from a login page or a proxy.";
    } catch (const std::exception& error) {
      platform::throwIfCancelled(stop);
      if (RequestOutcome::classify(error).kind == RequestOutcome::Kind::cancelled)
        throw platform::CancellationError();
      probe.result = resultOf(error);
      probe.problem = describeFailure(error);
    }
    probe.deprecation = watch_.deprecationOf(path);
    return probe;
  }

  jamf::JamfRequesting& server_;
  const AnswerWatch& watch_;
};

}  // namespace

std::vector<SectionProbe> probeSections(jamf::JamfRequesting& server, const AnswerWatch& watch,
                                        std::size_t width, const OnProbe& onProbe,
                                        const std::stop_token& stop) {
  std::vector<std::pair<const SectionDefinition*, ListRequest>> requests;
  for (const auto& section : SectionCatalog::all())
    if (auto request = listRequestOf(section)) requests.emplace_back(&section, std::move(*request));

  const Prober prober(server, watch);
  std::vector<SectionProbe> probes(requests.size());
  std::size_t done = 0;
  platform::TaskGroup<SectionProbe>::run(
      requests.size(), width, stop,
      [&](std::size_t index, const std::stop_token& token) {
        const auto& [section, request] = requests[index];
        return prober.probe(*section, request, token);
      },
      [&](std::size_t index, SectionProbe probe) {
        probes[index] = std::move(probe);
        onProbe(++done, probes.size());
      });
  return probes;
}

}  // namespace orvik::host
