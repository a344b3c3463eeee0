#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace orvik {

/// One kind of Jamf Pro object that a backup reads. A row of `SectionCatalog`; its texts live for ever.
struct SectionDefinition {
  /// Where reports file a section.
  enum class Group { devices, configuration, groups, content, secondary };
  enum class DeviceKind { computers, mobileDevices };

  /// GET "JSSResource/<list>", the list under `key`; each object at "JSSResource/<detail>/id/<id>".
  struct ClassicList {
    std::string_view list;
    std::string_view key;
    std::string_view detail;
    bool operator==(const ClassicList&) const = default;
  };
  /// One object at "JSSResource/<path>".
  struct ClassicSingle {
    std::string_view path;
    bool operator==(const ClassicSingle&) const = default;
  };
  /// A paged list or one object at `path`; with a `detail` each object at "<detail>/<id>", else the list
  /// element is the object. `idKeys` name the fields that can hold the id, tried in order.
  struct Pro {
    std::string_view path;
    std::string_view detail;  ///< empty: none
    std::array<std::string_view, 1> idKeys;
    bool operator==(const Pro&) const = default;
  };
  struct Devices {
    DeviceKind kind;
    bool operator==(const Devices&) const = default;
  };
  /// Users and groups of "JSSResource/accounts".
  struct ClassicAccounts {
    bool operator==(const ClassicAccounts&) const = default;
  };
  /// The package binaries.
  struct Files {
    bool operator==(const Files&) const = default;
  };

  using Kind = std::variant<ClassicList, ClassicSingle, Pro, Devices, ClassicAccounts, Files>;

  std::string_view id;     ///< stable; the name of the section's index and its key in the options
  std::string_view title;  ///< what reports show
  Group group;
  Kind kind;                   ///< how it is read
  std::string_view privilege;  ///< the API role privilege it needs, in the server's own words

  bool operator==(const SectionDefinition&) const = default;
};

constexpr auto enumTexts(SectionDefinition::Group) {
  using enum SectionDefinition::Group;
  using namespace std::string_view_literals;
  return std::array{std::pair{devices, "Devices & users"sv}, std::pair{configuration, "Configuration"sv},
                    std::pair{groups, "Groups"sv}, std::pair{content, "Packages & distribution"sv},
                    std::pair{secondary, "Other settings"sv}};
}

constexpr auto enumTexts(SectionDefinition::DeviceKind) {
  using enum SectionDefinition::DeviceKind;
  using namespace std::string_view_literals;
  return std::array{std::pair{computers, "computers"sv}, std::pair{mobileDevices, "mobileDevices"sv}};
}

/// What a backup reads: 78 sections, in the order of reports. A constant table.
namespace SectionCatalog {

/// 18 rows of the groups devices to content.
std::span<const SectionDefinition> primary();
/// 60 rows of the group secondary.
std::span<const SectionDefinition> secondary();
/// Primary followed by secondary.
std::span<const SectionDefinition> all();
/// The row with that id, or null.
const SectionDefinition* definition(std::string_view id);
/// The row's place in `all`; that behind the last for an id without a row.
std::size_t position(std::string_view id);

}  // namespace SectionCatalog

}  // namespace orvik
