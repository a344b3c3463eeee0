#include "JamfCore/Networking/MultipartFile.h"

#include <fmt/format.h>

#include "JamfCore/Networking/APIError.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/SecretFile.h"
#include "Platform/SecretString.h"
#include "Platform/UUID.h"

namespace jamf {

namespace files = platform::files;

namespace {
constexpr std::size_t pieceSize = 4'194'304;
}

MultipartFile::MultipartFile(const Path& source, const std::string& fieldName, const std::string& boundary) {
  create();
  try {
    write(source, fieldName, boundary);
  } catch (...) {
    files::tryRemove(path_);
    throw;
  }
}

MultipartFile::~MultipartFile() { files::tryRemove(path_); }

void MultipartFile::create() {
  try {
    path_ = std::filesystem::temp_directory_path() / platform::UUID::random().text();
    files::writeSecretFile(path_, platform::SecretString());  // new, and its owner's alone from the start
  } catch (const std::exception&) {
    throw APIError::transport("Could not create temp file for upload");
  }
}

void MultipartFile::write(const Path& source, const std::string& fieldName,
                          const std::string& boundary) const {
  files::AppendFile target(path_);
  files::FileReader reader(source);
  target.append(
      fmt::format("--{}\r\nContent-Disposition: form-data; name=\"{}\"; filename=\"{}\"\r\n"
                  "Content-Type: application/octet-stream\r\n\r\n",
                  boundary, fieldName, source.filename().string()));
  platform::Bytes piece;
  while (reader.read(piece, pieceSize)) target.append(piece);
  target.append(fmt::format("\r\n--{}--\r\n", boundary));
}

}  // namespace jamf
