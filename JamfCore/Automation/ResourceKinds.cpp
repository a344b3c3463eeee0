#include "JamfCore/Automation/ResourceKinds.h"

#include <fmt/format.h>

#include "JamfCore/Services/CategoryService.h"
#include "JamfCore/Services/ComputerExtensionAttributeService.h"
#include "JamfCore/Services/ConfigurationProfileService.h"
#include "JamfCore/Services/IfFound.h"
#include "JamfCore/Services/PackageService.h"
#include "JamfCore/Services/PolicyService.h"
#include "JamfCore/Services/ScriptService.h"
#include "JamfCore/Services/SmartGroupService.h"

namespace jamf::resources {

namespace {

template <class Object>
std::optional<Object> firstNamed(std::vector<Object> found, std::string Object::*nameField,
                                 const std::string& name) {
  for (auto& object : found)
    if (object.*nameField == name) return std::move(object);
  return std::nullopt;
}

SmartGroupWriteBody bodyOf(const PlaybookSmartGroup& declared) {
  return {.name = declared.name,
          .description = declared.description,
          .siteId = {},
          .criteria = declared.resolvedCriteria()};
}

}  // namespace

void Tools::ensureCategory(const std::optional<std::string>& name) const {
  if (name) CategoryService{client}.ensureCategory(*name, stop);
}

std::optional<SmartGroupSummary> SmartGroups::find(const Declared& declared) const {
  auto page = SmartGroupService{client}.list({.filter = exactFilter("name", declared.name)}, stop);
  return firstNamed(std::move(page.results), &SmartGroupSummary::name, declared.name);
}

FieldDifferences SmartGroups::differences(const Declared& declared, const Object& object) const {
  return jamf::differences(declared, SmartGroupService{client}.get(object.id, stop));
}

void SmartGroups::create(const Declared& declared) const {
  SmartGroupService{client}.create(bodyOf(declared), stop);
}

void SmartGroups::update(const Object& object, const Declared& declared) const {
  auto body = bodyOf(declared);
  if (body.description == "") body.description.reset();
  SmartGroupService{client}.update(object.id, body, stop);
}

void SmartGroups::remove(const Object& object) const { SmartGroupService{client}.delete_(object.id, stop); }

std::optional<PolicyGeneral> Policies::find(const Declared& declared) const {
  return ifFound([&] { return PolicyService{client}.get(declared.name, stop).general; });
}

FieldDifferences Policies::differences(const Declared& declared, const Object& object) const {
  return jamf::differences(declared, object);
}

void Policies::create(const Declared& declared) const {
  ensureCategory(declared.categoryName);
  PolicyService{client}.create(declared.toWrite(), {}, stop);
}

void Policies::update(const Object& object, const Declared& declared) const {
  ensureCategory(declared.categoryName);
  PolicyService{client}.updateGeneral(object.id, declared.toWrite(), {}, stop);
}

void Policies::remove(const Object& object) const { PolicyService{client}.delete_(object.id, stop); }

std::optional<Script> Scripts::find(const Declared& declared) const {
  return firstNamed(ScriptService{client}.search(declared.name, stop), &Script::name, declared.name);
}

FieldDifferences Scripts::differences(const Declared& declared, const Object& object) const {
  return jamf::differences(declared, object);
}

void Scripts::create(const Declared& declared) const {
  ensureCategory(declared.categoryName);
  ScriptService{client}.create(declared.toScript(), stop);
}

void Scripts::update(const Object& object, const Declared& declared) const {
  ensureCategory(declared.categoryName);
  ScriptService{client}.update(object.id, declared.toScript(), stop);
}

void Scripts::remove(const Object& object) const { ScriptService{client}.delete_(object.id, stop); }

std::optional<ConfigurationProfileGeneral> ConfigurationProfiles::find(const Declared& declared) const {
  return ifFound([&] { return ConfigurationProfileService{client}.get(declared.name, stop).general; });
}

FieldDifferences ConfigurationProfiles::differences(const Declared& declared, const Object& object) const {
  return jamf::differences(declared, object);
}

void ConfigurationProfiles::create(const Declared& declared) const {
  ensureCategory(declared.categoryName);
  ConfigurationProfileService{client}.create(declared.toWrite(), {}, stop);
}

void ConfigurationProfiles::update(const Object& object, const Declared& declared) const {
  ensureCategory(declared.categoryName);
  ConfigurationProfileService{client}.updateGeneral(object.id, declared.toWrite(), {}, stop);
}

void ConfigurationProfiles::remove(const Object& object) const {
  ConfigurationProfileService{client}.delete_(object.id, stop);
}

std::optional<ComputerExtensionAttribute> ExtensionAttributes::find(const Declared& declared) const {
  return firstNamed(ComputerExtensionAttributeService{client}.search(declared.name, stop),
                    &ComputerExtensionAttribute::name, declared.name);
}

FieldDifferences ExtensionAttributes::differences(const Declared& declared, const Object& object) const {
  return jamf::differences(declared, object);
}

void ExtensionAttributes::create(const Declared& declared) const {
  ComputerExtensionAttributeService{client}.create(declared.toAttribute(), stop);
}

void ExtensionAttributes::update(const Object& object, const Declared& declared) const {
  ComputerExtensionAttributeService{client}.update(object.id, declared.toAttribute(), stop);
}

void ExtensionAttributes::remove(const Object& object) const {
  ComputerExtensionAttributeService{client}.delete_(object.id, stop);
}

void Packages::prepare(const Declared& declared) {
  if (!declared.categoryName) return;
  const CategoryService service{client};
  if (categories == Categories::ensured) {
    categoryId = service.ensureCategory(*declared.categoryName, stop).id;
    return;
  }
  const auto found =
      firstNamed(service.search(*declared.categoryName, stop), &Category::name, *declared.categoryName);
  categoryId = found ? found->id : fmt::format("(of the new category \"{}\")", *declared.categoryName);
}

std::optional<Package> Packages::find(const Declared& declared) const {
  return firstNamed(PackageService{client}.search(declared.name, stop), &Package::packageName, declared.name);
}

FieldDifferences Packages::differences(const Declared& declared, const Object& object) const {
  return jamf::differences(declared, categoryId, object);
}

void Packages::create(const Declared& declared) const {
  PackageService{client}.create(declared.toPackage(categoryId), stop);
}

void Packages::update(const Object& object, const Declared& declared) const {
  PackageService{client}.update(object.id, declared.toPackage(categoryId), stop);
}

void Packages::remove(const Object& object) const { PackageService{client}.delete_(object.id, stop); }

}  // namespace jamf::resources
