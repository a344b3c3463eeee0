#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

#include "JamfCore/Automation/PlaybookComparison.h"
#include "JamfCore/Automation/PlaybookResource.h"
#include "JamfCore/Networking/APIClient.h"

/// What each kind of resource does on a server. A kind has the type `Declared` of its resource, the type
/// `Object` of what the server has, and
///
///     void prepare(const Declared&)                        comes first, where the resource is to be present
///     std::optional<Object> find(const Declared&)          by exact name
///     FieldDifferences differences(const Declared&, const Object&)
///     void create(const Declared&)
///     void update(const Object&, const Declared&)
///     void remove(const Object&)
///
/// which block and throw `APIError`. One value of a kind is for one resource. None of it is for others than
/// the runner of playbooks.
namespace jamf::resources {

/// What categories that a resource names are done with before they are written: made where they are missing,
/// or only looked for, when nothing may be written.
enum class Categories { ensured, lookedUp };

/// What kinds are made of.
struct Tools {
  std::shared_ptr<APIClient> client;
  Categories categories = Categories::ensured;
  std::stop_token stop = {};

  template <class Declared>
  void prepare(const Declared&) const {}

 protected:
  /// Makes the category where a resource names one.
  void ensureCategory(const std::optional<std::string>& name) const;
};

struct SmartGroups : Tools {
  using Declared = PlaybookSmartGroup;
  using Object = SmartGroupSummary;

  std::optional<Object> find(const Declared& declared) const;
  FieldDifferences differences(const Declared& declared, const Object& object) const;
  void create(const Declared& declared) const;
  void update(const Object& object, const Declared& declared) const;
  void remove(const Object& object) const;
};

struct Policies : Tools {
  using Declared = PlaybookPolicy;
  using Object = PolicyGeneral;

  std::optional<Object> find(const Declared& declared) const;
  FieldDifferences differences(const Declared& declared, const Object& object) const;
  void create(const Declared& declared) const;
  void update(const Object& object, const Declared& declared) const;
  void remove(const Object& object) const;
};

struct Scripts : Tools {
  using Declared = PlaybookScript;
  using Object = Script;

  std::optional<Object> find(const Declared& declared) const;
  FieldDifferences differences(const Declared& declared, const Object& object) const;
  void create(const Declared& declared) const;
  void update(const Object& object, const Declared& declared) const;
  void remove(const Object& object) const;
};

struct ConfigurationProfiles : Tools {
  using Declared = PlaybookConfigurationProfile;
  using Object = ConfigurationProfileGeneral;

  std::optional<Object> find(const Declared& declared) const;
  FieldDifferences differences(const Declared& declared, const Object& object) const;
  void create(const Declared& declared) const;
  void update(const Object& object, const Declared& declared) const;
  void remove(const Object& object) const;
};

struct ExtensionAttributes : Tools {
  using Declared = PlaybookComputerExtensionAttribute;
  using Object = ComputerExtensionAttribute;

  std::optional<Object> find(const Declared& declared) const;
  FieldDifferences differences(const Declared& declared, const Object& object) const;
  void create(const Declared& declared) const;
  void update(const Object& object, const Declared& declared) const;
  void remove(const Object& object) const;
};

/// A package names its category by id, so that the category comes first, even before the package is looked
/// up.
struct Packages : Tools {
  using Declared = PlaybookPackage;
  using Object = Package;

  void prepare(const Declared& declared);
  std::optional<Object> find(const Declared& declared) const;
  FieldDifferences differences(const Declared& declared, const Object& object) const;
  void create(const Declared& declared) const;
  void update(const Object& object, const Declared& declared) const;
  void remove(const Object& object) const;

  std::string categoryId = "-1";  ///< of the declared category, once prepared
};

}  // namespace jamf::resources
