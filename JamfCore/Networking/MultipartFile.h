#pragma once

#include <filesystem>
#include <string>

namespace jamf {

/// The temporary file of a multipart upload: one part that holds a whole source file. Made in the system's
/// temporary folder under a fresh UUID, readable by its owner alone, and deleted when it goes (a failure to
/// delete is ignored).
///
///     --BOUNDARY CRLF
///     Content-Disposition: form-data; name="FIELD"; filename="SOURCE'S NAME" CRLF
///     Content-Type: application/octet-stream CRLF CRLF
///     the source's bytes CRLF
///     --BOUNDARY-- CRLF
class MultipartFile {
 public:
  using Path = std::filesystem::path;

  /// Copies the source in pieces, so that memory stays small. Names are put in as they stand. Throws
  /// `APIError` (transport) when the file can't be made, and `platform::files::FileError` for what fails
  /// after that; nothing is left behind.
  MultipartFile(const Path& source, const std::string& fieldName, const std::string& boundary);
  ~MultipartFile();
  MultipartFile(const MultipartFile&) = delete;
  MultipartFile& operator=(const MultipartFile&) = delete;

  const Path& path() const noexcept { return path_; }

 private:
  void create();
  void write(const Path& source, const std::string& fieldName, const std::string& boundary) const;

  Path path_;
};

}  // namespace jamf
