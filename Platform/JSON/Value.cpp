#include "Platform/JSON/Value.h"

#include <algorithm>
#include <cstddef>
#include <numeric>

namespace platform::json {

namespace {

/// The positions of the members by key; of a repeated key only the last.
std::vector<std::size_t> sortedPositions(const Value::Object& members) {
  std::vector<std::size_t> order(members.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](std::size_t a, std::size_t b) { return members[a].first < members[b].first; });
  std::size_t kept = 0;
  for (std::size_t i = 0; i < order.size(); ++i)
    if (i + 1 == order.size() || members[order[i]].first != members[order[i + 1]].first)
      order[kept++] = order[i];
  order.resize(kept);
  return order;
}

Value::Object withoutRepeats(Value::Object members) {
  auto kept = sortedPositions(members);
  if (kept.size() == members.size()) return members;
  std::sort(kept.begin(), kept.end());
  Value::Object unique;
  unique.reserve(kept.size());
  for (const std::size_t position : kept) unique.push_back(std::move(members[position]));
  return unique;
}

enum class KeyOrder { own, ascending };

void write(Writer& writer, const Value& value, KeyOrder order);

void writeObject(Writer& writer, const Value::Object& members, KeyOrder order) {
  const auto put = [&](const auto& member) {
    writer.key(member.first);
    write(writer, member.second, order);
  };
  writer.beginObject();
  if (order == KeyOrder::own)
    for (const auto& member : members) put(member);
  else
    for (const std::size_t position : sortedPositions(members)) put(members[position]);
  writer.endObject();
}

void write(Writer& writer, const Value& value, KeyOrder order) {
  if (const auto* truth = value.boolean()) return writer.boolean(*truth);
  if (const auto* integer = value.integer()) return writer.integer(*integer);
  if (const auto* large = value.unsignedInteger()) return writer.unsignedInteger(*large);
  if (const auto* number = value.number()) return writer.number(*number);
  if (const auto* text = value.string()) return writer.string(*text);
  if (const auto* members = value.object_()) return writeObject(writer, *members, order);
  const auto* elements = value.array_();
  if (!elements) return writer.null();
  writer.beginArray();
  for (const Value& element : *elements) write(writer, element, order);
  writer.endArray();
}

Bytes render(const Value& value, Rendering rendering, KeyOrder order) {
  Writer writer(rendering);
  write(writer, value, order);
  return writer.take();
}

}  // namespace

Value Value::from(View view) {
  switch (view.kind()) {
    case Kind::null:
      return {};
    case Kind::boolean:
      return *view.boolean();
    case Kind::integer:
      return *view.int64();
    case Kind::unsignedInteger:
      return *view.uint64();
    case Kind::number:
      return *view.number();
    case Kind::string:
      return *view.string();
    case Kind::array: {
      Array elements;
      for (const View element : view.elements()) elements.push_back(from(element));
      return elements;
    }
    case Kind::object:
      break;
  }
  Object members;
  for (const auto& [key, value] : view.members()) members.emplace_back(std::string(key), from(value));
  return withoutRepeats(std::move(members));
}

const Value* Value::find(std::string_view key) const {
  const Object* members = object_();
  if (!members) return nullptr;
  const auto found = std::find_if(members->rbegin(), members->rend(),
                                  [&](const auto& member) { return member.first == key; });
  return found == members->rend() ? nullptr : &found->second;
}

Value* Value::find(std::string_view key) { return const_cast<Value*>(std::as_const(*this).find(key)); }

Value& Value::set(std::string_view key, Value value) {
  if (Value* existing = find(key)) {
    *existing = std::move(value);
    return *this;
  }
  if (!object_()) value_ = Object{};
  object_()->emplace_back(std::string(key), std::move(value));
  return *this;
}

Value& Value::append(Value value) {
  if (!array_()) value_ = Array{};
  array_()->push_back(std::move(value));
  return *this;
}

Bytes Value::text(Rendering rendering) const { return render(*this, rendering, KeyOrder::own); }

Bytes Value::sortedText(Rendering rendering) const { return render(*this, rendering, KeyOrder::ascending); }

}  // namespace platform::json
