#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace sample {

using Pool = std::span<const std::string_view>;

/// A person's name as people write it, and in the letters that a login name has.
struct PersonName {
  std::string_view shown;
  std::string_view plain;
};

/// How the objects of a section get their names: a word of the first pool, the joint, one of the second,
/// the tail. Every pair comes once before a number tells the repeats apart, so names are unique in a section.
struct Naming {
  enum class Style { words, login, macAddress };

  Pool first = {};
  std::string_view joint = {};
  Pool second = {};
  std::string_view tail = {};
  Style style = Style::words;

  /// The name of the object at `index`; `seed` turns the pools.
  std::string name(std::uint64_t seed, std::size_t index) const;
};

/// The `index`-th person of a fleet, "Jörg Müller".
std::string fullName(std::uint64_t seed, std::size_t index);
/// The login name of the same person, "joerg.mueller".
std::string loginName(std::uint64_t seed, std::size_t index);

/// "02:1A:4D:00:01:18", locally administered, from the low 32 bits.
std::string macAddress(std::uint64_t number);

namespace pools {
extern const Pool applications, places, departments, remarks;
}

namespace naming {
extern const Naming login, macAddress;
extern const Naming settings, accountGroup, apiRole, apiClient, appName, attribute, beacon, binding,
    blueprint, book, building, category, classroom, computer, department, deviceGroup, directory,
    diskEncryption, distribution, dockItem, enrollment, fileExtension, installer, licence, location,
    mobileDevice, network, package, patch, policy, prestage, printer, profile, restriction, script, search,
    site, updateServer, userGroup, webhook;
}  // namespace naming

}  // namespace sample
