#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Platform/JSON/Codable.h"

namespace jamf {

/// The size of a package's file as servers write it: a text of decimal digits, empty when it isn't known, and
/// sometimes another text.
struct PackageSize {
  std::string text;

  /// In bytes; nothing when the text is no plain number.
  std::optional<std::int64_t> bytes() const;

  void encode(platform::json::Writer& writer) const { writer.string(text); }
  /// Reads a number too.
  static PackageSize decode(platform::json::View view);
  bool operator==(const PackageSize&) const = default;
};

/// What the server knows of a package; its file lies elsewhere.
struct Package {
  std::string id;  ///< empty for one that is to be created
  std::string packageName;
  std::string fileName;
  std::string categoryId;  ///< "-1" for none
  std::optional<std::string> info;
  std::optional<std::string> notes;
  std::int64_t priority = 0;
  std::optional<std::string> osRequirements;
  bool fillUserTemplate = false;
  std::optional<bool> fillExistingUsers;
  std::optional<bool> swu;
  bool rebootRequired = false;
  std::optional<bool> selfHealNotify;
  std::optional<std::string> selfHealingAction;
  bool osInstall = false;
  std::optional<std::string> serialNumber;
  std::optional<std::string> parentPackageId;
  std::optional<std::string> basePath;
  bool suppressUpdates = false;
  std::optional<bool> ignoreConflicts;
  bool suppressFromDock = false;
  bool suppressEula = false;
  bool suppressRegistration = false;
  std::optional<std::string> installLanguage;
  std::optional<std::string> md5;
  std::optional<std::string> sha256;
  std::optional<std::string> sha3512;
  std::optional<std::string> hashType;  ///< MD5, SHA_256, SHA_512 or SHA3_512
  std::optional<std::string> hashValue;
  std::optional<PackageSize> size;
  std::optional<std::string> osInstallerVersion;
  std::optional<std::string> manifest;
  std::optional<std::string> manifestFileName;
  std::optional<std::string> format;
  std::optional<std::string> cloudTransferStatus;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("id", &Package::id), field("packageName", &Package::packageName),
        field("fileName", &Package::fileName), field("categoryId", &Package::categoryId),
        field("info", &Package::info), field("notes", &Package::notes), field("priority", &Package::priority),
        field("osRequirements", &Package::osRequirements),
        field("fillUserTemplate", &Package::fillUserTemplate),
        field("fillExistingUsers", &Package::fillExistingUsers), field("swu", &Package::swu),
        field("rebootRequired", &Package::rebootRequired), field("selfHealNotify", &Package::selfHealNotify),
        field("selfHealingAction", &Package::selfHealingAction), field("osInstall", &Package::osInstall),
        field("serialNumber", &Package::serialNumber), field("parentPackageId", &Package::parentPackageId),
        field("basePath", &Package::basePath), field("suppressUpdates", &Package::suppressUpdates),
        field("ignoreConflicts", &Package::ignoreConflicts),
        field("suppressFromDock", &Package::suppressFromDock), field("suppressEula", &Package::suppressEula),
        field("suppressRegistration", &Package::suppressRegistration),
        field("installLanguage", &Package::installLanguage), field("md5", &Package::md5),
        field("sha256", &Package::sha256), field("sha3512", &Package::sha3512),
        field("hashType", &Package::hashType), field("hashValue", &Package::hashValue),
        field("size", &Package::size), field("osInstallerVersion", &Package::osInstallerVersion),
        field("manifest", &Package::manifest), field("manifestFileName", &Package::manifestFileName),
        field("format", &Package::format), field("cloudTransferStatus", &Package::cloudTransferStatus));
  }
  bool operator==(const Package&) const = default;
};

}  // namespace jamf
