#pragma once

#include <string>
#include <string_view>

#include "OrvikCore/Explore/BackupReader.h"
#include "orvik/Output/Paint.h"

/// How lists of objects name them. Safe for a terminal.
namespace orvik::host::entryText {

/// Above the objects of a section: "Policies  policies".
std::string heading(std::string_view title, std::string_view sectionID, const Paint& paint);

/// An object's name and, where it doesn't stand in that, its ID: "Install Office  #12". `name` is what is
/// shown of the name, in whatever colours.
std::string named(const BackupReader::Entry& entry, const std::string& name, const Paint& paint);
std::string named(const BackupReader::Entry& entry, const Paint& paint);

}  // namespace orvik::host::entryText
