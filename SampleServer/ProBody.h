#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "Platform/JSON/Value.h"
#include "SampleServer/Dialect.h"
#include "SampleServer/Fleet.h"
#include "SampleServer/Route.h"

/// Bodies of the Pro interface, as they come and as they go.
namespace sample {

/// The body of a request as an object. Throws `Refusal` for anything else.
platform::json::Value readObject(const Request& request);

/// How a member has to look that a client sends.
enum class MemberType { text, integer, flag, texts };

/// A member of that type; null where it is absent or null. Throws `Refusal` for another type.
const platform::json::Value* readMember(const platform::json::Value& object, std::string_view key,
                                        MemberType type);
/// A text that has to be there. Throws `Refusal` where it is missing or empty.
std::string readRequiredText(const platform::json::Value& object, std::string_view key);

/// An answer of that status with a body.
Answer proAnswer(int status, const platform::json::Value& body);
/// The answer to a create: the new object's id and address, or the whole object where servers do that. `path`
/// is that of the collection.
Answer createdAnswer(const Fleet& fleet, const Dialect& dialect, std::string_view path, std::string_view id,
                     const platform::json::Value& object);
Answer noContent();

/// A site as Classic records have it: `{"id":1,"name":"North campus"}`. "-1" and an absent id are no site.
/// Throws `Refusal` for an unknown one.
platform::json::Value siteOf(const Fleet& fleet, const platform::json::Value* id);

}  // namespace sample
