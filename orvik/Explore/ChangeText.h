#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Explore/FieldChange.h"
#include "Platform/JSON/Value.h"
#include "orvik/Output/Paint.h"

/// What happened to objects and their fields, for people and for scripts.
namespace orvik::host::changeText {

using Kind = BackupReader::ChangeKind;

/// For scripts: "new", "changed", "unchanged", "removed", "failed".
std::string_view name(Kind kind);
/// For people: "new", "changed", "unchanged", "removed", "not readable".
std::string word(Kind kind);
/// The same in the colour of what it means, in `width` columns at least.
std::string word(Kind kind, std::size_t width, const Paint& paint);

/// One field: "path: old -> new", or a line for each of the three. Long values show the stretch that differs,
/// values of several lines the first lines that do, so that it stays short. Safe for a terminal.
std::vector<std::string> lines(const FieldChange& change, const Paint& paint);
/// All fields of a changed object, each line behind `indent`; says so when none differs.
std::string lines(const std::vector<FieldChange>& changes, const std::string& indent, const Paint& paint);

/// `[{"path":…,"old":…,"new":…}]`, whole values.
platform::json::Value json(const std::vector<FieldChange>& changes);

}  // namespace orvik::host::changeText
