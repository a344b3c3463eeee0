#include "OrvikCore/Format/BackupFormat.h"

namespace orvik::BackupFormat {

using platform::json::Decoder;
using platform::json::Encoder;
using platform::json::Rendering;

Encoder makeEncoder() { return Encoder(Rendering::pretty); }
Encoder makeLineEncoder() { return Encoder(Rendering::compact); }
Decoder makeDecoder() { return Decoder(); }

std::string backupID(platform::Date date) { return platform::compactUTC(date); }

std::optional<platform::Date> dateFromBackupID(std::string_view id) { return platform::parseCompactUTC(id); }

std::string sectionPath(std::string_view sectionID) {
  std::string path(sectionsFolder);
  path += '/';
  path += sectionID;
  path += sectionSuffix;
  return path;
}

namespace {

std::string shardedPath(std::string_view folder, std::string_view name, std::string_view extension) {
  std::string path;
  path.reserve(storeFolder.size() + folder.size() + name.size() + extension.size() + 5);
  path.append(storeFolder).append("/").append(folder).append("/");
  path.append(name.substr(0, 2)).append("/").append(name).append(extension);
  return path;
}

}  // namespace

std::string objectPathText(std::string_view hash) { return shardedPath(objectsFolder, hash, objectSuffix); }

Path objectPath(std::string_view hash) { return objectPathText(hash); }

Path filePath(std::string_view sha256) { return shardedPath(filesFolder, sha256, ""); }

}  // namespace orvik::BackupFormat
