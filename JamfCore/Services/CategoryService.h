#pragma once

#include <memory>
#include <stop_token>
#include <string>
#include <vector>

#include "JamfCore/Models/Category.h"
#include "JamfCore/Models/Page.h"
#include "JamfCore/Networking/APIClient.h"
#include "JamfCore/Services/ListRequest.h"

namespace jamf {

/// Categories. All operations block, throw `APIError` and may be called by any thread.
struct CategoryService {
  std::shared_ptr<APIClient> client;

  Page<Category> list(const ListRequest& request, const std::stop_token& stop = {}) const;
  Category get(const std::string& id, const std::stop_token& stop = {}) const;
  Category create(const Category& object, const std::stop_token& stop = {}) const;
  Category update(const std::string& id, const Category& object, const std::stop_token& stop = {}) const;
  void delete_(const std::string& id, const std::stop_token& stop = {}) const;

  /// The objects whose name the server takes for equal, the first hundred. It compares without case.
  std::vector<Category> search(const std::string& name, const std::stop_token& stop = {}) const;

  /// The category of exactly that name, made with the priority 9 when there is none.
  Category ensureCategory(const std::string& named, const std::stop_token& stop = {}) const;
};

}  // namespace jamf
