#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <shared_mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Platform/Bytes.h"
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
/// here; ids are as clients send them, "settings" for a single object.
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

  /// The files that packages name, each once, in the order of the packages.
  std::vector<PackageFile> packageFiles() const;
  /// A file while the cloud has it, or while it lies on the share.
  std::optional<ShelvedFile> cloudFile(std::string_view fileName) const;
  std::optional<ShelvedFile> shareFile(std::string_view fileName) const;
  bool changePackageFile(std::string_view fileName) { return shelf_.change(fileName); }

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
  };
  struct Templates;

  // Those that start with a state need the lock.
  RecordContext context(const Section& state, std::size_t section, std::size_t index) const;
  std::optional<std::size_t> find(const Section& state, std::size_t section, std::string_view id) const;
  void appendElements(platform::Bytes& out, std::size_t section, std::size_t from, std::size_t most,
                      const RecordTemplate& element) const;

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
