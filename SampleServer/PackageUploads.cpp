#include "SampleServer/PackageUploads.h"

#include <algorithm>

#include "SampleServer/Multipart.h"
#include "SampleServer/ProBody.h"

namespace sample {

std::vector<Route> PackageUploads::routes() {
  return {{"api/v1/packages/*/upload", "packages", [this](const Call& call) {
             if (!call.is("POST")) refuse(call, 405);
             return std::optional(take(call));
           }}};
}

Answer PackageUploads::take(const Call& call) {
  const std::size_t packages = *sectionNumber("packages");
  const std::string& id = call.segments[3];
  if (!fleet_.currentName(packages, id)) refuse(call, 404);
  std::vector<FormPart> parts;
  try {
    parts = parseMultipart(call.request.header("Content-Type").value_or(""), call.request.body);
  } catch (const MultipartError& error) {
    refuseField(error.description(), "file");
  }
  const auto file = std::ranges::find(parts, "file", &FormPart::name);
  if (file == parts.end()) refuseField("The form has no field 'file'", "file");
  if (file->fileName.empty()) refuseField("The field 'file' has no file name", "file");
  fleet_.storePackageFile(id, file->fileName, platform::Bytes(file->content));
  return createdAnswer(fleet_, dialect_, "api/v1/packages", id, *fleet_.recordValue(packages, id));
}

}  // namespace sample
