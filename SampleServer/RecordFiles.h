#pragma once

#include <string_view>

#include "Platform/Bytes.h"
#include "SampleServer/RecordTemplate.h"

/// Parts of records that tell of files and of where they lie. Each appends members without their outer comma.
namespace sample {

/// What a package says of its file: "fileName", "hashes" or "size".
void appendPackageMembers(platform::Bytes& out, RecordContext& context, std::string_view which);

/// Puts the same into a record that a client wrote, which has those members.
void setPackageMembers(platform::json::Value& record, const PackageClaim& claim);

/// What the cloud's list says of a file: its name, length and digests.
void appendCloudFileMembers(platform::Bytes& out, RecordContext& context);

/// How a distribution point offers its share over HTTP: the first with a whole URL, the second with its
/// parts, the third for a name and a password, all others not at all. Every one is this server.
void appendHTTPShareMembers(platform::Bytes& out, RecordContext& context);

}  // namespace sample
