#include "SampleServer/ListQuery.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <numeric>

#include "Platform/Locale/Text.h"
#include "SampleServer/Route.h"

namespace sample {
namespace {

using platform::json::Value;

constexpr std::size_t greatestPageSize = 2000;

/// A query item that counts; nothing for what is no plain number.
std::optional<std::size_t> number(const std::optional<std::string>& text, std::size_t otherwise) {
  if (!text) return otherwise;
  std::size_t value = 0;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), value);
  if (error != std::errc() || end != text->data() + text->size()) return std::nullopt;
  return value;
}

/// A key by which numbers come in their order, ahead of other texts.
std::string sortKey(const std::string& text) {
  constexpr std::size_t longest = 20;
  const bool isNumber = !text.empty() && text.size() <= longest &&
                        std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
  if (!isNumber) return "~" + platform::locale::lowercased(text);
  return std::string(longest - text.size(), '0') + text;
}

}  // namespace

PageRequest PageRequest::of(const Request& request) {
  const auto page = number(request.queryItem("page"), 0);
  const auto size = number(request.queryItem("page-size"), PageRequest().size);
  if (!page) refuseField("The page is no number", "page");
  if (!size || *size == 0) refuseField("The page size is no positive number", "page-size");
  return {*page, std::min(*size, greatestPageSize)};
}

ListQuery::ListQuery(const Request& request, const ListFields& fields) : page_(PageRequest::of(request)) {
  if (const auto order = request.queryItem("sort"); order && !order->empty()) readOrder(*order, fields.sort);
  if (const auto filter = request.queryItem("filter"); filter && !filter->empty()) {
    try {
      filter_.emplace(*filter, fields.filter);
    } catch (const RSQLError& error) {
      refuseField(error.description(), "filter");
    }
  }
}

void ListQuery::readOrder(std::string_view text, std::span<const std::string_view> fields) {
  for (bool more = true; more;) {
    const std::string_view item = text.substr(0, text.find(','));
    more = item.size() < text.size();
    text.remove_prefix(item.size() + (more ? 1 : 0));
    const std::string_view field = item.substr(0, item.find(':'));
    const std::string_view direction = field.size() == item.size() ? "asc" : item.substr(field.size() + 1);
    if (std::ranges::find(fields, field) == fields.end() || (direction != "asc" && direction != "desc"))
      refuseField(fmt::format("Invalid sort '{}'", item.substr(0, 40)), "sort");
    order_.push_back({std::string(field), direction == "desc"});
  }
  // The order that a list has anyway.
  if (order_.front().field == "id" && !order_.front().isDescending) order_.clear();
}

void ListQuery::sort(std::vector<Value>& objects) const {
  std::vector<std::pair<std::vector<std::string>, std::size_t>> keyed;
  for (std::size_t i = 0; i < objects.size(); ++i) {
    auto& keys = keyed.emplace_back(std::vector<std::string>(), i).first;
    for (const Order& order : order_) keys.push_back(sortKey(fieldText(objects[i], order.field)));
  }
  std::ranges::stable_sort(keyed, [&](const auto& a, const auto& b) {
    for (std::size_t i = 0; i < order_.size(); ++i) {
      const int way = a.first[i].compare(b.first[i]);
      if (way != 0) return order_[i].isDescending ? way > 0 : way < 0;
    }
    return false;
  });
  std::vector<Value> sorted;
  sorted.reserve(objects.size());
  for (const auto& [keys, at] : keyed) sorted.push_back(std::move(objects[at]));
  objects = std::move(sorted);
}

Answer ListQuery::answer(const std::vector<std::string>& ids,
                         const std::function<std::optional<Value>(const std::string& id)>& make,
                         const std::function<void(Value& object)>& show) const {
  const auto range = [&](std::size_t count) {
    const std::size_t begin =
        page_.page < count / page_.size + 1 ? std::min(page_.page * page_.size, count) : count;
    return std::pair{begin, std::min(begin + page_.size, count)};
  };
  std::size_t total = ids.size();
  auto [begin, end] = range(total);
  std::vector<Value> objects;
  for (std::size_t i = isPlain() ? begin : 0; i < (isPlain() ? end : ids.size()); ++i) {
    auto object = make(ids[i]);
    if (object && (!filter_ || filter_->matches(*object))) objects.push_back(*std::move(object));
  }
  if (!isPlain()) {
    if (!order_.empty()) sort(objects);
    total = objects.size();
    std::tie(begin, end) = range(total);
    objects = {std::make_move_iterator(objects.begin() + static_cast<std::ptrdiff_t>(begin)),
               std::make_move_iterator(objects.begin() + static_cast<std::ptrdiff_t>(end))};
  }
  if (show) std::ranges::for_each(objects, show);
  return proAnswer(Value::object({{"totalCount", total}, {"results", Value(std::move(objects))}}).text());
}

}  // namespace sample
