#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Platform/Error.h"

namespace sample {

/// Says what is wrong with a form.
class MultipartError : public platform::Error {
 public:
  using Error::Error;
};

/// A field of a form (RFC 7578).
struct FormPart {
  std::string name;
  std::string fileName;      ///< as it stands there; empty for none
  std::string_view content;  ///< looks into the body
};

/// Takes a body of the type "multipart/form-data" apart (RFC 2046, section 5.1.1), without copying what is in
/// it. A file name ends at the last quote of its line, since clients put names in as they are. Throws
/// `MultipartError` for another type, and for a form that is damaged or has more than 16 parts.
std::vector<FormPart> parseMultipart(std::string_view contentType, std::string_view body);

}  // namespace sample
