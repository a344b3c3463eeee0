#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/Bytes.h"
#include "Platform/JSON/Value.h"
#include "SampleServer/FleetSize.h"
#include "SampleServer/PackageShelf.h"
#include "SampleServer/RecordTemplate.h"
#include "SampleServer/SectionTable.h"

namespace sample {

/// How a Classic section writes its list. Servers differ; all but `regular` are on request.
enum class ListShape {
  regular,          ///< {"policies":[{...}]}
  emptyArray,       ///< {"policies":[]}
  sizeOnly,         ///< {"policies":{"size":0}}
  wrapped,          ///< {"policies":{"policy":[{...}]}}
  wrappedWithSize,  ///< {"policies":{"size":2,"policy":[{...}]}}
  singleObject,     ///< {"policies":{"policy":{...}}}
  misnamedRoot,     ///< blanks for underscores, or " list" behind the key: {"policies list":[{...}]}
};

/// Which of an object's records is meant.
enum class RecordForm { whole, classic };
enum class ListForm { usual, basic };

/// The made-up objects of a server.
///
/// Nothing but counts, the names of files and what was changed at run time is in memory: a record is
/// generated when it is asked for, from the seed, its section and its place, and comes out the same each
/// time; so is the content of the packages' files. Any thread may call. Sections are numbers of the table
/// here; ids are as clients send them, "settings" for a single object. What clients write is held until its
/// object is removed, and stands in place of the generated record wherever the object shows.
class Fleet : public References {
 public:
  Fleet(FleetSize size, std::uint64_t seed);
  ~Fleet() override;

  /// All objects of all sections but devices.
  std::size_t objectCount() const;
  /// The objects that a section has now.
  std::size_t count(std::size_t section) const;
  /// Their ids, in the order of the list.
  std::vector<std::string> ids(std::size_t section) const;

  /// A Classic list, accounts with users and groups.
  platform::Bytes classicList(std::size_t section, ListShape shape) const;
  platform::Bytes accountList() const;
  /// `{"totalCount":450,"results":[...]}`; empty results past the end.
  platform::Bytes page(std::size_t section, std::size_t page, std::size_t pageSize, bool withTotal,
                       ListForm form = ListForm::usual) const;
  platform::Bytes bareArray(std::size_t section) const;
  /// One record; nothing for an id that does not exist (any more).
  std::optional<platform::Bytes> record(std::size_t section, std::string_view id,
                                        RecordForm form = RecordForm::whole) const;

  /// The same to look into and to change.
  std::optional<platform::json::Value> recordValue(std::size_t section, std::string_view id) const;

  /// Makes the object's record differ; a file of the cloud gets other content, a device an inventory date of
  /// its own again. False for an unknown id, here and below.
  bool change(std::size_t section, std::string_view id);
  /// Sets a device's inventory date in the list and in its records, or takes it from them. False also for
  /// what is no device, here and below.
  bool setInventoryDate(std::size_t section, std::string_view id, std::optional<std::string> date);
  /// Moves a device's inventory date and nothing else.
  bool refresh(std::size_t section, std::string_view id);
  bool remove(std::size_t section, std::string_view id);
  bool rename(std::size_t section, std::string_view id, std::string name);
  /// A new object at the end of the list; its id. Nothing for single objects and files.
  std::optional<std::string> add(std::size_t section);
  /// A new package with the given file; its id.
  std::string addPackage(const NewPackage& package);
  /// The present name of an object.
  std::optional<std::string> currentName(std::size_t section, std::string_view id) const;
  /// The first object of that name, compared without case; its id.
  std::optional<std::string> idOfName(std::size_t section, std::string_view name) const;
  /// Whether a group is a smart one; nothing for an unknown id.
  std::optional<bool> isSmartGroup(std::size_t section, std::string_view id) const;

  /// Holds a record of a writable section (see WrittenRecord.h), as a new object or in place of what an
  /// object has. The id in the record is replaced by the object's. False for an unknown id.
  std::string create(std::size_t section, platform::json::Value record);
  bool write(std::size_t section, std::string_view id, platform::json::Value record);
  /// Gives a device another name or asset tag, in its list and all its records; nothing leaves it as it is.
  bool describeDevice(std::size_t section, std::string_view id, std::optional<std::string> name,
                      std::optional<std::string> assetTag);
  /// Gives a package's cloud file these bytes and that name. False for an unknown package.
  bool storePackageFile(std::string_view id, const std::string& fileName, platform::Bytes content);

  /// The files that packages name, each once, in the order of the packages.
  std::vector<PackageFile> packageFiles() const;
  /// A file while the cloud has it, or while it lies on the share.
  std::optional<ShelvedFile> cloudFile(std::string_view fileName) const;
  std::optional<ShelvedFile> shareFile(std::string_view fileName) const;
  bool changePackageFile(std::string_view fileName) { return shelf_.change(fileName); }

  /// How packages tell the size of their files.
  void setPackageSizeShape(PackageSizeShape shape) { shelf_.setSizeShape(shape); }

  /// Records that point at the server itself name this port.
  void setPort(std::uint16_t port) { port_ = port; }

  std::size_t countOf(std::size_t section) const override;
  std::string nameOf(std::size_t section, std::size_t index) const override;
  std::uint64_t seed() const override { return seed_; }
  const PackageShelf& shelf() const override { return shelf_; }
  std::uint16_t port() const override { return port_; }

 private:
  struct Section {
    std::size_t count = 0;  // objects ever, removed ones included
    std::set<std::size_t> removed;
    std::unordered_map<std::size_t, unsigned> revisions;
    std::unordered_map<std::size_t, std::string> names;
    std::unordered_map<std::size_t, InventoryDate> dates;
    std::unordered_map<std::size_t, std::string> assetTags;
    std::unordered_map<std::size_t, std::shared_ptr<const platform::json::Value>> written;
  };
  struct Templates;

  // Those that start with a state need the lock.
  std::string nameAt(const Section& state, std::size_t section, std::size_t index) const;
  void hold(Section& state, std::size_t section, std::size_t index, platform::json::Value record);
  RecordContext context(const Section& state, std::size_t section, std::size_t index) const;
  std::optional<std::size_t> find(const Section& state, std::size_t section, std::string_view id) const;
  void appendElements(platform::Bytes& out, std::size_t section, std::size_t from, std::size_t most,
                      const RecordTemplate& element) const;

  /// What a client wrote where it did, and the rendered template elsewhere.
  static void render(platform::Bytes& out, RecordContext& context, const RecordTemplate& made);
  static platform::json::Value writtenRecord(const RecordContext& context);
  std::string idOf(std::size_t section, std::size_t index) const;
  std::uint64_t sectionSeed(std::size_t section) const;
  /// The inventory date of a device; null for what there is not. Needs the lock.
  InventoryDate* dateOf(std::size_t section, std::string_view id);

  // Constant after construction.
  const FleetSize size_;
  const std::uint64_t seed_;
  std::vector<Templates> templates_;

  // Synchronise themselves.
  PackageShelf shelf_;
  std::atomic<std::uint16_t> port_ = 0;

  mutable std::shared_mutex mutex_;  // guards what follows
  std::vector<Section> sections_;
};

}  // namespace sample
