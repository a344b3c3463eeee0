#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "SampleServer/NamePools.h"

namespace sample {

/// How a section is served.
enum class SectionKind {
  classicList,    ///< JSSResource/<path> names the objects, JSSResource/<path>/id/<id> gives one
  classicSingle,  ///< JSSResource/<path> is one object
  proList,        ///< <path> gives pages {"totalCount","results"}, <path>/<id> one object
  proArray,       ///< <path> gives a bare array, without pages
  proSingle,      ///< <path> is one object
  accounts,       ///< users of JSSResource/accounts, one at JSSResource/accounts/userid/<id>
  accountGroups,  ///< groups of the same list, one at JSSResource/accounts/groupid/<id>
  devices,        ///< inventory, see the routes of the router
  files,          ///< package binaries; nothing is listed
};

/// What a client calls an object of the section.
enum class IDStyle { number, uuid, fileName };

/// One line of the table. `listed` and `record` are record templates; an empty `listed` means that the list
/// holds whole records.
struct SectionRow {
  std::string_view id;
  SectionKind kind;
  std::string_view path;
  std::string_view key;                 ///< the list's key of a Classic section
  std::array<std::uint32_t, 3> counts;  ///< objects at first, by `FleetSize`
  const Naming* naming;
  std::string_view listed;
  std::string_view record;
  IDStyle ids = IDStyle::number;
  bool onlyNamed = false;         ///< the record has nothing but its name to change
  std::string_view classic = {};  ///< a device's Classic record
  std::string_view basic = {};    ///< an entry of the shorter list of mobile devices
};

std::span<const SectionRow> sectionTable();

/// The key that a Classic record stands under: "policy". Empty for other records.
std::string_view rootKey(const SectionRow& row);

/// The place of a section in the table; nothing for an unknown id.
std::optional<std::size_t> sectionNumber(std::string_view id);

}  // namespace sample
