#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/JSON/Codable.h"

namespace jamf {

enum class AndOr { and_, or_ };

constexpr auto enumTexts(AndOr) {
  using namespace std::string_view_literals;
  return std::array{std::pair{AndOr::and_, "and"sv}, std::pair{AndOr::or_, "or"sv}};
}

/// A smart computer group as its list shows it: the server keeps its members by criteria.
struct SmartGroupSummary {
  std::string id;
  std::optional<std::string> siteId;
  std::string name;
  std::optional<std::string> description;
  std::int64_t membershipCount = 0;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &SmartGroupSummary::id), field("siteId", &SmartGroupSummary::siteId),
                     field("name", &SmartGroupSummary::name),
                     field("description", &SmartGroupSummary::description),
                     field("membershipCount", &SmartGroupSummary::membershipCount));
  }
  bool operator==(const SmartGroupSummary&) const = default;
};

/// One condition of a smart group.
struct SmartGroupCriterion {
  std::string name;
  std::int64_t priority = 0;  ///< the place in the list, from 0
  AndOr andOr = AndOr::and_;
  std::string searchType;
  std::string value;
  std::optional<bool> openingParen;
  std::optional<bool> closingParen;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("name", &SmartGroupCriterion::name), field("priority", &SmartGroupCriterion::priority),
        field("andOr", &SmartGroupCriterion::andOr), field("searchType", &SmartGroupCriterion::searchType),
        field("value", &SmartGroupCriterion::value),
        field("openingParen", &SmartGroupCriterion::openingParen),
        field("closingParen", &SmartGroupCriterion::closingParen));
  }
  bool operator==(const SmartGroupCriterion&) const = default;
};

/// A smart group with its criteria.
/// Servers leave the id out; the service fills in the one that was asked for.
struct SmartGroupDetail {
  std::optional<std::string> id;
  std::string name;
  std::optional<std::string> description;
  std::optional<std::string> siteId;
  std::vector<SmartGroupCriterion> criteria;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &SmartGroupDetail::id), field("name", &SmartGroupDetail::name),
                     field("description", &SmartGroupDetail::description),
                     field("siteId", &SmartGroupDetail::siteId),
                     field("criteria", &SmartGroupDetail::criteria));
  }
  bool operator==(const SmartGroupDetail&) const = default;
};

/// What a smart group is to be: it replaces all of it.
struct SmartGroupWriteBody {
  std::string name;
  std::optional<std::string> description;
  std::optional<std::string> siteId;
  std::vector<SmartGroupCriterion> criteria;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(
        field("name", &SmartGroupWriteBody::name), field("description", &SmartGroupWriteBody::description),
        field("siteId", &SmartGroupWriteBody::siteId), field("criteria", &SmartGroupWriteBody::criteria));
  }
  bool operator==(const SmartGroupWriteBody&) const = default;
};

/// A static computer group as its list shows it: somebody keeps its members.
struct StaticGroupSummary {
  std::string id;
  std::string name;
  std::optional<std::string> description;
  std::optional<std::string> siteId;
  std::int64_t count = 0;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &StaticGroupSummary::id), field("name", &StaticGroupSummary::name),
                     field("description", &StaticGroupSummary::description),
                     field("siteId", &StaticGroupSummary::siteId),
                     field("count", &StaticGroupSummary::count));
  }
  bool operator==(const StaticGroupSummary&) const = default;
};

/// A static group. Its members are had from `APIClient::classicGroupMembers`.
struct StaticGroupDetail {
  std::string id;
  std::string name;
  std::optional<std::string> description;
  std::optional<std::string> siteId;
  std::optional<std::vector<std::string>> assignments;  ///< ids of computers; servers don't tell them

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("id", &StaticGroupDetail::id), field("name", &StaticGroupDetail::name),
                     field("description", &StaticGroupDetail::description),
                     field("siteId", &StaticGroupDetail::siteId),
                     field("assignments", &StaticGroupDetail::assignments));
  }
  bool operator==(const StaticGroupDetail&) const = default;
};

/// What a static group is to be: it replaces all of it, members too.
struct StaticGroupWriteBody {
  std::string name;
  std::optional<std::string> description;
  std::optional<std::string> siteId;
  std::vector<std::string> assignments;  ///< ids of computers

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("name", &StaticGroupWriteBody::name),
                     field("description", &StaticGroupWriteBody::description),
                     field("siteId", &StaticGroupWriteBody::siteId),
                     field("assignments", &StaticGroupWriteBody::assignments));
  }
  bool operator==(const StaticGroupWriteBody&) const = default;
};

/// The computers that match a smart group.
struct SmartGroupMembership {
  std::vector<std::int64_t> members;

  static constexpr auto fields() {
    using namespace platform::json;
    return fieldList(field("members", &SmartGroupMembership::members));
  }
  bool operator==(const SmartGroupMembership&) const = default;
};

}  // namespace jamf
