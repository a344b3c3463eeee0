#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "OrvikCore/Explore/FieldChange.h"
#include "OrvikCore/Format/SectionIndex.h"

namespace orvik {

/// A stored object as a document for people. Texts are UTF-8 in English, dates and numbers as the user's
/// locale has them.
struct ObjectDescription {
  struct Fact {
    std::string label;
    std::string value;
    bool operator==(const Fact&) const = default;
  };

  struct List {
    std::string title;
    std::vector<std::string> entries;
    bool operator==(const List&) const = default;
  };

  struct Text {
    std::string title;
    std::string text;
    bool isCode = false;
    bool operator==(const Text&) const = default;
  };

  /// A step on the way to a node. The nodes below one share what leads to it, so that a deep object of many
  /// keys takes no more memory than it has keys.
  struct OutlinePath {
    std::shared_ptr<const OutlinePath> above;  ///< null at the top
    std::string step;                          ///< a key, or an element's position from 0
  };

  /// A value of the object, with all that lies in it.
  struct OutlineNode {
    std::shared_ptr<const OutlinePath> path;
    std::string label;
    std::optional<std::string> value;
    std::optional<std::vector<OutlineNode>> children;  ///< none on leaves

    /// The dotted path of the node, unique in the tree: "pro.general.name". A dot or backslash within a key
    /// has a backslash before it.
    std::string id() const;
  };

  std::string title;  ///< the object's display name
  std::string kind;   ///< the title of its section
  std::vector<Fact> facts;
  std::vector<List> lists;
  std::vector<Text> texts;
  std::vector<OutlineNode> outline;  ///< the whole object, nothing hidden
  std::vector<FieldChange> changes;  ///< since the parent backup; see `BackupReader::describe`
  std::optional<FileRef> file;       ///< the package file of the item
};

}  // namespace orvik
