#include "JamfCore/Services/CategoryService.h"

#include "JamfCore/Services/ObjectCalls.h"

namespace jamf {

namespace {

ObjectCalls calls(const CategoryService& service) { return {*service.client, "api/v1/categories"}; }

}  // namespace

Page<Category> CategoryService::list(const ListRequest& request, const std::stop_token& stop) const {
  return calls(*this).list<Category>(request, stop);
}

Category CategoryService::get(const std::string& id, const std::stop_token& stop) const {
  return calls(*this).get<Category>(id, stop);
}

Category CategoryService::create(const Category& object, const std::stop_token& stop) const {
  return calls(*this).createAndGet(object, stop);
}

Category CategoryService::update(const std::string& id, const Category& object,
                                 const std::stop_token& stop) const {
  return calls(*this).update<Category>(id, object, stop);
}

void CategoryService::delete_(const std::string& id, const std::stop_token& stop) const {
  calls(*this).remove(id, stop);
}

std::vector<Category> CategoryService::search(const std::string& name, const std::stop_token& stop) const {
  return list({.filter = exactFilter("name", name)}, stop).results;
}

Category CategoryService::ensureCategory(const std::string& named, const std::stop_token& stop) const {
  constexpr std::int64_t usualPriority = 9;
  for (auto& category : search(named, stop))
    if (category.name == named) return category;
  return create({.id = {}, .name = named, .priority = usualPriority}, stop);
}

}  // namespace jamf
