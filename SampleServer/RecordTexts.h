#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Platform/Bytes.h"
#include "SampleServer/RecordTemplate.h"

/// The larger parts of records. Each appends one JSON value, made from the context alone.
namespace sample {

/// A UUID with its quotes. Version and variant bits are those of a random one.
void appendUUID(platform::Bytes& out, std::uint64_t high, std::uint64_t low, bool upperCase);

/// `{"id":9,"name":"x"}`.
void appendReference(platform::Bytes& out, const References& fleet, std::size_t section, std::size_t index);
/// A list of up to `most` references to neighbouring objects of a section.
void appendReferences(platform::Bytes& out, RecordContext& context, std::string_view section,
                      std::size_t most);

/// Whether a group is a smart one; fixed for an object.
bool isSmart(const RecordContext& context);

/// The criteria of a smart group or a search. Empty for a static group, unless `always`.
void appendCriteria(platform::Bytes& out, RecordContext& context, bool always);

/// Members of a group: "computers", "mobileDevices" or "users".
void appendMembers(platform::Bytes& out, RecordContext& context, std::string_view kind);

/// A scope object: "computers", "mobile", "users" or "all" for both kinds of device. The list of user groups
/// is sometimes an object, as servers write it.
void appendScope(platform::Bytes& out, RecordContext& context, std::string_view kind);

/// The user groups of a user in the odd form that servers give: a size and the last group alone.
void appendOddUserGroups(platform::Bytes& out, RecordContext& context);

/// A shell script of 1 to 6 KB.
std::string shellScript(RecordContext& context);

/// A configuration profile as an XML property list of 4 to 7 KB.
std::string profilePayload(RecordContext& context);

}  // namespace sample
