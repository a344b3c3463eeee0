#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Explore/ObjectDescription.h"
#include "OrvikCore/Format/SectionIndex.h"
#include "Platform/JSON/View.h"

namespace orvik {

/// Turns the JSON of a stored object into an `ObjectDescription`. Touches no storage; any thread may call.
///
/// A JSON value is a `View`, valid as long as its document; "missing" is a view that isn't there. What is
/// returned owns its texts.
struct ObjectDescriber {
  using Value = platform::json::View;
  /// JSON keys, from the outside in.
  using Path = std::vector<std::string_view>;

  /// One record of an object: the modern API's, the Classic API's and so on.
  struct Variant {
    std::string name;
    Value value;
  };

  /// What to show of the objects of a section.
  struct Spec {
    /// The first path that gives a text counts.
    struct Fact {
      std::string label;
      std::vector<Path> paths;
    };
    /// The path leads to a list, each element of which gives an entry of the texts of `fields`.
    struct List {
      std::string title;
      Path path;
      std::vector<Path> fields;
    };
    struct Text {
      std::string title;
      std::vector<Path> paths;
      bool isCode = false;
    };
    /// Further facts, from the unwrapped variants in their order.
    using Custom = std::function<std::vector<ObjectDescription::Fact>(const std::vector<Variant>&)>;

    std::vector<Fact> facts;
    std::vector<List> lists;
    std::vector<Text> texts;
    std::optional<Path> payloads;  ///< the XML of a configuration profile
    Custom custom;
  };

  ObjectDescriber() = delete;

  /// `changes` is empty. A section that the catalog doesn't know is its own kind.
  static ObjectDescription describe(std::string_view sectionID, std::string_view name,
                                    std::vector<Variant> variants,
                                    const std::optional<FileRef>& file = std::nullopt);

  /// The spec of a section's own table, or null: then `genericSpec` of the object says what to show.
  static const Spec* spec(std::string_view sectionID);
  /// Up to 20 plain values of an object, secret-like ones left out. Valid as long as the value's document.
  static Spec genericSpec(const std::optional<Value>& value);

  /// The value itself; of an object with exactly one member that is an object, as the Classic API wraps its
  /// records, that inner one.
  static Value unwrap(Value value);
  /// The value at the end of a path through objects.
  static std::optional<Value> node(const Path& path, Value value);
  /// A value in one line (a text stays as it is, line ends included); nothing for null, for an empty list
  /// and for a value that isn't there.
  static std::optional<std::string> text(const std::optional<Value>& value);
  /// The texts that a section's spec shows of the unwrapped variants, in its order; of a script, the code.
  static std::vector<ObjectDescription::Text> texts(const Spec& spec, const std::vector<Variant>& variants);

  /// A JSON key in words: "jamfProVersion" is "Jamf pro version", "URLPath" is "URL path".
  static std::string label(std::string_view key);
  static std::string variantTitle(std::string_view variant);
  /// The order of variants, ascending; equal ones stay as they are.
  static int variantRank(std::string_view variant);
  static bool isSecretLike(std::string_view key);

  /// The payload types of a configuration profile; empty for what is no property list.
  static std::vector<std::string> payloadSummary(std::string_view xml);
  static std::string fileStatus(const FileRef& file);
  /// A list's count, or "none"; nothing for any other value.
  static std::optional<std::string> summary(Value value);
  /// The tree of an object: a node for each variant, or what lies in the only one.
  static std::vector<ObjectDescription::OutlineNode> outline(const std::vector<Variant>& variants);
  /// What lies in a value that stands at `path`. An element of a list is labelled with its text, cut at 256
  /// bytes, or with its position from 1 when it has none.
  static std::vector<ObjectDescription::OutlineNode> outline(
      Value value, const std::shared_ptr<const ObjectDescription::OutlinePath>& path);
};

}  // namespace orvik
