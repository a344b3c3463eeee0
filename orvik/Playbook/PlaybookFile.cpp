#include "orvik/Playbook/PlaybookFile.h"

#include <algorithm>
#include <type_traits>
#include <utility>
#include <variant>

#include "JamfCore/Automation/Playbook.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/SecretFile.h"
#include "Platform/Terminal/StandardStreams.h"
#include "Platform/YAML/Node.h"
#include "orvik/ExitStatus.h"

namespace orvik::host {

namespace {

namespace files = platform::files;
namespace yaml = platform::yaml;
using jamf::PlaybookResource;

using Keys = std::vector<std::string_view>;

template <class Record>
Keys keysOf() {
  const auto keys = Record::fields().keys();
  return {keys.begin(), keys.end()};
}

/// What one type of resource may say.
struct ResourceKeys {
  std::string_view type;
  Keys keys;
};

template <std::size_t... indices>
std::vector<ResourceKeys> allResourceKeys(std::index_sequence<indices...> /*cases*/) {
  std::vector<ResourceKeys> all;
  const auto add = [&](const PlaybookResource& sample, Keys keys) {
    keys.push_back("type");
    all.push_back({sample.type(), std::move(keys)});
  };
  (add({std::variant_alternative_t<indices, PlaybookResource::Record>{}},
       keysOf<std::variant_alternative_t<indices, PlaybookResource::Record>>()),
   ...);
  return all;
}

class KeyCheck {
 public:
  std::vector<UnknownKey> of(const yaml::Node& root) {
    check(root, keysOf<jamf::Playbook>(), "the playbook");
    if (const auto* schedule = root.member("schedule"))
      check(*schedule, keysOf<jamf::PlaybookSchedule>(), "the schedule");
    if (const auto* resources = root.member("resources"))
      for (const auto& each : resources->elements) resource(*each);
    return std::move(found_);
  }

 private:
  void resource(const yaml::Node& node) {
    const auto* type = node.member("type");
    const auto kind = std::ranges::find_if(
        kinds_, [&](const ResourceKeys& each) { return type != nullptr && each.type == type->text; });
    if (kind == kinds_.end()) return;
    check(node, kind->keys, "a resource of the type " + std::string(kind->type));
    if (const auto* criteria = node.member("criteria"))
      for (const auto& each : criteria->elements)
        check(*each, keysOf<jamf::PlaybookSmartGroupCriterion>(), "a criterion");
  }

  void check(const yaml::Node& node, const Keys& known, const std::string& place) {
    for (const auto& [key, value] : node.members)
      if (std::ranges::find(known, key) == known.end()) found_.push_back({key, place, value->line});
  }

  const std::vector<ResourceKeys> kinds_ =
      allResourceKeys(std::make_index_sequence<std::variant_size_v<PlaybookResource::Record>>());
  std::vector<UnknownKey> found_;
};

}  // namespace

std::string readPlaybookFile(const std::string& file, const std::stop_token& stop) {
  constexpr auto limit = yaml::maximumSize;
  if (file == "-")
    return std::string(
        files::readSecretly(platform::standardStreams::input(), limit, "standard input", stop).reveal());
  if (!files::exists(file)) throw NotFoundError("There is no file " + file + ".");
  if (files::isFile(file)) {
    std::string text;
    files::read(file, text, limit);
    return text;
  }
  // A pipe gives its bytes when it likes, and takes a stop.
  return std::string(files::readSecretFile(file, limit, files::Exposure::allowed, stop).reveal());
}

std::vector<UnknownKey> unknownKeys(std::string_view yaml) { return KeyCheck().of(*yaml::parse(yaml)); }

}  // namespace orvik::host
