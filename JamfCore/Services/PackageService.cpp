#include "JamfCore/Services/PackageService.h"

#include "JamfCore/Services/ObjectCalls.h"

namespace jamf {

namespace {

ObjectCalls calls(const PackageService& service) { return {*service.client, "api/v1/packages"}; }

}  // namespace

Page<Package> PackageService::list(const ListRequest& request, const std::stop_token& stop) const {
  return calls(*this).list<Package>(request, stop);
}

Package PackageService::get(const std::string& id, const std::stop_token& stop) const {
  return calls(*this).get<Package>(id, stop);
}

Package PackageService::create(const Package& object, const std::stop_token& stop) const {
  return calls(*this).createAndGet(object, stop);
}

Package PackageService::update(const std::string& id, const Package& object,
                               const std::stop_token& stop) const {
  return calls(*this).update<Package>(id, object, stop);
}

void PackageService::delete_(const std::string& id, const std::stop_token& stop) const {
  calls(*this).remove(id, stop);
}

std::vector<Package> PackageService::search(const std::string& name, const std::stop_token& stop) const {
  try {
    return list({.filter = exactFilter("name", name)}, stop).results;
  } catch (const APIError& error) {
    // Servers call the field of packages otherwise, and refuse a filter on one that they don't know.
    const auto* const failed = error.as<APIError::RequestFailed>();
    if (!failed || failed->statusCode != 400) throw;
  }
  return list({.filter = exactFilter("packageName", name)}, stop).results;
}

void PackageService::upload(const std::string& id, const std::filesystem::path& fileURL,
                            const APIClient::OnProgress& onProgress, const std::stop_token& stop) const {
  client->uploadFile<CreatedObject>("api/v1/packages" + ObjectCalls::below(id) + "/upload", "file", fileURL,
                                    onProgress, stop);
}

}  // namespace jamf
