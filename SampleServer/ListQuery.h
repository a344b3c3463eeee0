#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/JSON/Value.h"
#include "SampleServer/HTTPMessage.h"
#include "SampleServer/RSQL.h"

namespace sample {

/// The part of a list that a client asks for.
struct PageRequest {
  std::size_t page = 0;
  std::size_t size = 100;  ///< at most 2000, whatever was asked for

  /// From `page` and `page-size`. Throws `Refusal` for what is no number.
  static PageRequest of(const Request& request);
};

/// The properties that a list can be filtered and sorted by.
struct ListFields {
  std::span<const std::string_view> filter;
  std::span<const std::string_view> sort;
};

/// What the query of a request for a list of the Pro interface asks for.
class ListQuery {
 public:
  /// Throws `Refusal` for a filter, an order or a page that can't be read.
  ListQuery(const Request& request, const ListFields& fields);

  /// Neither filtered nor in another order than that of the ids.
  bool isPlain() const { return !filter_ && order_.empty(); }

  /// `{"totalCount":2,"results":[...]}`, made of the objects with these ids. Only those of the page are made
  /// where the query is plain. `make` may give nothing for an object that is gone by now; `show`, where it is
  /// given, leaves out of one what is not to be seen but may be filtered by.
  Answer answer(const std::vector<std::string>& ids,
                const std::function<std::optional<platform::json::Value>(const std::string& id)>& make,
                const std::function<void(platform::json::Value& object)>& show = {}) const;

 private:
  struct Order {
    std::string field;
    bool isDescending = false;
  };

  void readOrder(std::string_view text, std::span<const std::string_view> fields);
  void sort(std::vector<platform::json::Value>& objects) const;

  PageRequest page_;
  std::optional<RSQLFilter> filter_;
  std::vector<Order> order_;  // the first decides
};

}  // namespace sample
