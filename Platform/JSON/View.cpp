#include "Platform/JSON/View.h"

#include <algorithm>
#include <functional>

#include "Platform/JSON/Tape.h"
#include "Platform/JSON/Writer.h"

namespace platform::json {

namespace {

void write(Writer& writer, View view) {
  switch (view.kind()) {
    case Kind::null:
      return writer.null();
    case Kind::boolean:
      return writer.boolean(*view.boolean());
    case Kind::integer:
      return writer.integer(*view.int64());
    case Kind::unsignedInteger:
      return writer.unsignedInteger(*view.uint64());
    case Kind::number:
      return writer.number(*view.number());
    case Kind::string:
      return writer.string(*view.string());
    case Kind::array:
      writer.beginArray();
      for (const View element : view.elements()) write(writer, element);
      return writer.endArray();
    case Kind::object:
      writer.beginObject();
      for (const auto& [key, value] : view.members()) {
        writer.key(key);
        write(writer, value);
      }
      return writer.endObject();
  }
}

}  // namespace

Kind View::kind() const {
  switch (tape().tag(index_)) {
    case '{':
      return Kind::object;
    case '[':
      return Kind::array;
    case '"':
      return Kind::string;
    case 'l':
      return Kind::integer;
    case 'u':
      return Kind::unsignedInteger;
    case 'd':
      return Kind::number;
    case 't':
    case 'f':
      return Kind::boolean;
    default:
      return Kind::null;
  }
}

std::optional<std::uint64_t> View::uint64() const {
  const auto& words = tape();
  if (words.tag(index_) == 'u') return words.number<std::uint64_t>(index_);
  if (const auto value = int64(); value && *value >= 0) return static_cast<std::uint64_t>(*value);
  return std::nullopt;
}

std::optional<double> View::number() const {
  const auto& words = tape();
  switch (words.tag(index_)) {
    case 'l':
      return static_cast<double>(words.number<std::int64_t>(index_));
    case 'u':
      return static_cast<double>(words.number<std::uint64_t>(index_));
    case 'd':
      return words.number<double>(index_);
    default:
      return std::nullopt;
  }
}

std::vector<Member> View::sortedMembers() const {
  std::vector<Member> sorted;
  sorted.reserve(members().count());
  for (const auto member : members()) sorted.push_back(member);
  if (std::ranges::adjacent_find(sorted, std::ranges::greater_equal(), &Member::key) == sorted.end())
    return sorted;
  // The last of equal keys comes first, and stays.
  std::ranges::reverse(sorted);
  std::ranges::stable_sort(sorted, {}, &Member::key);
  const auto isSame = [](const Member& a, const Member& b) { return a.key == b.key; };
  sorted.erase(std::unique(sorted.begin(), sorted.end(), isSame), sorted.end());
  return sorted;
}

std::optional<View> View::operator[](std::string_view key) const {
  std::optional<View> found;
  for (const auto& [name, value] : members())
    if (name == key) found = value;
  return found;
}

Bytes View::serialized() const {
  Writer writer(Rendering::compact);
  write(writer, *this);
  return writer.take();
}

std::size_t Elements::count() const {
  std::size_t count = 0;
  for (auto each = begin(); each != end(); ++each) ++count;
  return count;
}

std::size_t Members::count() const {
  std::size_t count = 0;
  for (auto each = begin(); each != end(); ++each) ++count;
  return count;
}

}  // namespace platform::json
