#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/JSON/Value.h"
#include "SampleServer/Draw.h"
#include "SampleServer/PackageShelf.h"
#include "SampleServer/SectionTable.h"

namespace sample {

/// What a record refers to: objects of other sections under the names that the fleet first gave them, the
/// files of packages, and the server itself.
class References {
 public:
  virtual ~References() = default;
  /// How many objects a section had at first.
  virtual std::size_t countOf(std::size_t section) const = 0;
  virtual std::string nameOf(std::size_t section, std::size_t index) const = 0;
  virtual std::uint64_t seed() const = 0;
  virtual const PackageShelf& shelf() const = 0;
  /// The port of the server on this machine.
  virtual std::uint16_t port() const = 0;
};

/// When a device last sent its inventory, as far as that was told from outside.
struct InventoryDate {
  unsigned refreshes = 0;                ///< how often it was sent without other news
  bool isSet = false;                    ///< `text` counts, not a date of the fleet's own
  std::optional<std::string> text = {};  ///< nothing: records and list have no date
};

/// The object that a template is rendered for.
struct RecordContext {
  const References& fleet;
  const SectionRow& row;
  std::size_t index;  ///< place among the section's objects, removed ones included
  std::string id;     ///< as a client sends it
  std::string name;
  unsigned revision;  ///< how often the object was changed
  std::uint64_t key;  ///< of the object, the same for list and record
  Draw draw;          ///< for what only the record holds
  InventoryDate inventory = {};
  /// What a client wrote in place of the generated record; mostly null.
  std::shared_ptr<const platform::json::Value> written = {};
  std::optional<std::string> assetTag = {};  ///< of a device, as far as a client wrote one
};

/// JSON text with places to fill, `{"id":${id},"note":${remark}}`.
///
/// A place is `${word}` or `${word:argument}`; the words stand in the table of the source file. Rendering the
/// same context gives the same bytes. Immutable, so any thread may render.
class RecordTemplate {
 public:
  /// `text` must outlive the template. Throws `platform::Error` for a place with an unknown word.
  explicit RecordTemplate(std::string_view text);

  void render(platform::Bytes& out, RecordContext& context) const;

  using Fill = void (*)(platform::Bytes& out, RecordContext& context, std::string_view argument);

 private:
  struct Piece {
    std::string_view literal;  // stands before the place
    Fill fill;                 // null at the end
    std::string_view argument;
  };

  std::vector<Piece> pieces_;
};

/// The number that the object at `index` has: counted up from 1, with a gap after every ninth, as on a server
/// where things have been deleted.
constexpr std::int64_t numberOf(std::size_t index) {
  return static_cast<std::int64_t>(index + index / 9 + 1);
}

}  // namespace sample
