#include "OrvikCore/Explore/ObjectDescriber.h"

#include <algorithm>
#include <set>
#include <utility>

#include "OrvikCore/Jamf/SectionCatalog.h"
#include "Platform/Locale/Text.h"

namespace orvik {

namespace {

namespace json = platform::json;

using Variants = std::vector<ObjectDescriber::Variant>;
using Fact = ObjectDescription::Fact;

constexpr std::size_t mostGenericFacts = 20;

/// Code is shown as it is stored, though it may read like a date.
std::optional<std::string> codeText(const std::optional<json::View>& value) {
  if (value && value->string()) return std::string(*value->string());
  return ObjectDescriber::text(value);
}

/// The first text that is not empty: of the first path in every variant, then of the next.
template <class TextOf>
std::optional<std::string> firstText(const std::vector<ObjectDescriber::Path>& paths,
                                     const Variants& variants, const TextOf& textOf) {
  for (const auto& path : paths)
    for (const auto& variant : variants)
      if (auto text = textOf(ObjectDescriber::node(path, variant.value)); text && !text->empty()) return text;
  return std::nullopt;
}

/// Facts without repeating one.
class FactList {
 public:
  void add(std::string label, std::string value) {
    if (seen_.emplace(label, value).second) facts_.push_back({std::move(label), std::move(value)});
  }
  std::vector<Fact> take() { return std::move(facts_); }

 private:
  std::vector<Fact> facts_;
  std::set<std::pair<std::string, std::string>> seen_;
};

void addFile(FactList& facts, const FileRef& file) {
  facts.add("File", file.fileName);
  if (file.size) facts.add("File size", platform::locale::byteCount(*file.size));
  facts.add("File in backup", ObjectDescriber::fileStatus(file));
}

std::vector<Fact> factsOf(const ObjectDescriber::Spec& spec, const Variants& variants,
                          const std::optional<FileRef>& file) {
  FactList facts;
  for (const auto& [label, paths] : spec.facts)
    if (auto text = firstText(paths, variants, ObjectDescriber::text)) facts.add(label, std::move(*text));
  if (spec.custom)
    for (auto& fact : spec.custom(variants)) facts.add(std::move(fact.label), std::move(fact.value));
  if (file) addFile(facts, *file);
  return facts.take();
}

/// The texts of an element's fields in one line; of the element itself where there are none.
std::string entryText(const std::vector<ObjectDescriber::Path>& fields, json::View element) {
  if (fields.empty()) return ObjectDescriber::text(element).value_or("");
  std::string entry;
  for (const auto& field : fields) {
    const auto text = ObjectDescriber::text(ObjectDescriber::node(field, element));
    if (text && !text->empty()) entry += (entry.empty() ? "" : " · ") + *text;
  }
  return entry;
}

ObjectDescription::List listOf(const ObjectDescriber::Spec::List& spec, const Variants& variants) {
  ObjectDescription::List list{spec.title, {}};
  const auto add = [&](json::View element) {
    if (auto entry = entryText(spec.fields, element); !entry.empty())
      list.entries.push_back(std::move(entry));
  };
  for (const auto& variant : variants) {
    const auto node = ObjectDescriber::node(spec.path, variant.value);
    if (!node || node->isNull()) continue;
    if (node->isObject()) add(*node);
    for (const auto element : node->elements()) add(element);
    break;
  }
  return list;
}

void addPayloads(ObjectDescription& description, const ObjectDescriber::Path& path,
                 const Variants& variants) {
  auto xml = firstText({path}, variants, codeText);
  if (!xml) return;
  auto payloads = ObjectDescriber::payloadSummary(*xml);
  if (payloads.empty()) return;
  auto title = "Payloads (" + std::to_string(payloads.size()) + ")";
  description.lists.push_back({std::move(title), std::move(payloads)});
  description.texts.push_back({"Profile XML", std::move(*xml), true});
}

}  // namespace

ObjectDescription ObjectDescriber::describe(std::string_view sectionID, std::string_view name,
                                            std::vector<Variant> variants,
                                            const std::optional<FileRef>& file) {
  std::ranges::stable_sort(variants, {}, [](const Variant& each) { return variantRank(each.name); });
  for (auto& variant : variants) variant.value = unwrap(variant.value);

  Spec generic;
  const Spec* spec = ObjectDescriber::spec(sectionID);
  if (!spec) {
    generic = genericSpec(variants.empty() ? std::nullopt : std::optional(variants.front().value));
    spec = &generic;
  }

  ObjectDescription description;
  description.title = name;
  const auto* definition = SectionCatalog::definition(sectionID);
  description.kind = definition ? definition->title : sectionID;
  description.facts = factsOf(*spec, variants, file);
  for (const auto& each : spec->lists)
    if (auto list = listOf(each, variants); !list.entries.empty())
      description.lists.push_back(std::move(list));
  description.texts = texts(*spec, variants);
  if (spec->payloads) addPayloads(description, *spec->payloads, variants);
  description.outline = outline(variants);
  description.file = file;
  return description;
}

ObjectDescriber::Spec ObjectDescriber::genericSpec(const std::optional<Value>& value) {
  Spec spec;
  if (!value) return spec;
  Path above;
  Value object = *value;
  if (const auto general = object["general"]; general && general->isObject()) {
    above = {"general"};
    object = *general;
  }
  for (const auto& [key, member] : object.sortedMembers()) {
    if (spec.facts.size() == mostGenericFacts) break;
    if (member.isObject() || member.isArray() || key == "id" || key == "name" || isSecretLike(key)) continue;
    Path path = above;
    path.push_back(key);
    spec.facts.push_back({label(key), {std::move(path)}});
  }
  return spec;
}

std::vector<ObjectDescription::Text> ObjectDescriber::texts(const Spec& spec,
                                                            const std::vector<Variant>& variants) {
  std::vector<ObjectDescription::Text> texts;
  for (const auto& [title, paths, isCode] : spec.texts)
    if (auto text = firstText(paths, variants, isCode ? codeText : ObjectDescriber::text))
      texts.push_back({title, std::move(*text), isCode});
  return texts;
}

}  // namespace orvik
