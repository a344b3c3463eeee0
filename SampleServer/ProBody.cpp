#include "SampleServer/ProBody.h"

#include <fmt/format.h>

#include <algorithm>

#include "Platform/JSON/View.h"
#include "SampleServer/WrittenRecord.h"

namespace sample {

using platform::json::Value;

Value readObject(const Request& request) {
  try {
    Value body = Value::from(platform::json::Document::parse(request.body)->root());
    if (body.object_()) return body;
  } catch (const platform::json::ParseError&) {
    // Told in the same words as a body that is something else.
  }
  refuseField("The body of the request is no JSON object", "body");
}

const Value* readMember(const Value& object, std::string_view key, MemberType type) {
  const Value* member = object.find(key);
  if (!member || member->isNull()) return nullptr;
  const auto isText = [](const Value& value) { return value.string() != nullptr; };
  bool fits = false;
  switch (type) {
    case MemberType::text:
      fits = isText(*member);
      break;
    case MemberType::integer:
      fits = member->integer() != nullptr;
      break;
    case MemberType::flag:
      fits = member->boolean() != nullptr;
      break;
    case MemberType::texts:
      fits = member->array_() && std::ranges::all_of(*member->array_(), isText);
      break;
  }
  if (!fits) refuseField(fmt::format("The value of '{}' has the wrong type", key), key);
  return member;
}

std::string readRequiredText(const Value& object, std::string_view key) {
  const Value* member = readMember(object, key, MemberType::text);
  if (!member || member->string()->empty())
    refuseField(fmt::format("The required property '{}' is missing or empty", key), key);
  return *member->string();
}

Answer proAnswer(int status, const Value& body) {
  Answer answer = proAnswer(body.text());
  answer.status = status;
  return answer;
}

Answer createdAnswer(const Fleet& fleet, const Dialect& dialect, std::string_view path, std::string_view id,
                     const Value& object) {
  if (dialect.createGivesObject) return proAnswer(201, object);
  return proAnswer(
      201, Value::object(
               {{"id", id}, {"href", fmt::format("http://127.0.0.1:{}/{}/{}", fleet.port(), path, id)}}));
}

Answer noContent() {
  Answer answer = proAnswer(platform::Bytes());
  answer.status = 204;
  answer.contentType = {};
  return answer;
}

Value siteOf(const Fleet& fleet, const Value* id) {
  if (!id || *id->string() == "-1") return Value::object({{"id", -1}, {"name", "None"}});
  const auto name = fleet.currentName(*sectionNumber("sites"), *id->string());
  if (!name) refuseField(fmt::format("Site with id {} does not exist", *id->string()), "siteId");
  return Value::object({{"id", std::stoll(*id->string())}, {"name", *name}});
}

}  // namespace sample
