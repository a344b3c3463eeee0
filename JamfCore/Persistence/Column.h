#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

#include "Platform/Database/Database.h"
#include "Platform/Date.h"
#include "Platform/UUID.h"

namespace jamf {

/// How a member's text stands in the database. Everything else follows from the member's type: times are
/// milliseconds since 1970, truth values 0 and 1, UUIDs their text in upper case, and an empty optional NULL.
enum class TextForm { text, bytes };

/// A member of a record and the column of its table.
///
/// A record states its columns once, in the table's order and the key first, with its table and the order in
/// which its rows are listed:
///
///     struct Note {
///       platform::UUID id;
///       std::string text;
///       static constexpr std::string_view table = "Note";
///       static constexpr std::string_view order = "id";
///       static constexpr auto columns() {
///         return std::tuple{column("id", &Note::id), column("text", &Note::text)};
///       }
///     };
template <class Record, class Member, TextForm form>
struct Column {
  std::string_view name;
  Member Record::*member;
};

template <TextForm form = TextForm::text, class Record, class Member>
constexpr Column<Record, Member, form> column(std::string_view name, Member Record::*member) {
  return {name, member};
}

namespace detail {

template <TextForm form>
void bindValue(platform::Statement& statement, int place, const std::string& value) {
  form == TextForm::text ? statement.bindText(place, value) : statement.bindBytes(place, value);
}
template <TextForm form>
void bindValue(platform::Statement& statement, int place, const platform::UUID& value) {
  statement.bindText(place, value.text());
}
template <TextForm form>
void bindValue(platform::Statement& statement, int place, platform::Date value) {
  statement.bindInteger(place, value.time_since_epoch().count());
}
template <TextForm form>
void bindValue(platform::Statement& statement, int place, bool value) {
  statement.bindBoolean(place, value);
}
template <TextForm form, class T>
void bindValue(platform::Statement& statement, int place, const std::optional<T>& value) {
  value ? bindValue<form>(statement, place, *value) : static_cast<void>(statement.bindNothing(place));
}

/// Throws `DatabaseError` for a text that is no UUID.
platform::UUID readUUID(const platform::Statement& statement, int place);

template <TextForm form, class T>
void readValue(const platform::Statement& statement, int place, T& value) {
  if constexpr (std::is_same_v<T, std::string>)
    value = form == TextForm::text ? statement.text(place) : statement.bytes(place);
  else if constexpr (std::is_same_v<T, platform::UUID>)
    value = readUUID(statement, place);
  else if constexpr (std::is_same_v<T, platform::Date>)
    value = platform::Date(std::chrono::milliseconds(statement.integer(place)));
  else
    value = statement.boolean(place);
}
template <TextForm form, class T>
void readValue(const platform::Statement& statement, int place, std::optional<T>& value) {
  if (statement.isNothing(place))
    value.reset();
  else
    readValue<form>(statement, place, value.emplace());
}

}  // namespace detail
}  // namespace jamf
