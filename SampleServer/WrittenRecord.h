#pragma once

#include <string>
#include <string_view>

#include "Platform/JSON/Value.h"
#include "SampleServer/SectionTable.h"

/// Records that clients wrote and the fleet therefore holds instead of generating them. Each has the shape of
/// its section's whole record: `{"policy":{"general":{"id":42,...}}}`, `{"id":"6","name":...}`.
namespace sample {

/// Whether objects of the section can be written.
bool isWritable(const SectionRow& row);

/// Each of these requires that the section is writable, and the record one of it.
void setRecordID(const SectionRow& row, platform::json::Value& record, std::string_view id);
void setRecordName(const SectionRow& row, platform::json::Value& record, std::string_view name);
std::string recordName(const SectionRow& row, const platform::json::Value& record);
/// Makes the record differ, as an administrator's small change does.
void touchRecord(const SectionRow& row, platform::json::Value& record, unsigned revision);

/// The object below `path`, "policy.general"; null where there is none. An empty path is the value itself.
platform::json::Value* objectAt(platform::json::Value& value, std::string_view path);
const platform::json::Value* objectAt(const platform::json::Value& value, std::string_view path);

/// The text of a member; empty for what is no text.
std::string textOf(const platform::json::Value& object, std::string_view key);
/// A member as text, whether it is a text, a number or a truth value; empty for anything else.
std::string plainText(const platform::json::Value* value);

}  // namespace sample
