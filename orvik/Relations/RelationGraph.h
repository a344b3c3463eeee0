#pragma once

#include <string>

#include "JamfCore/Automation/RelationRecords.h"
#include "orvik/Relations/Relations.h"

/// Relations as drawings in the DOT language of Graphviz, several lines without an end. Names are safe for a
/// terminal.
namespace orvik::host::relationGraph {

/// From computers over groups to what is scoped to them and what that brings. More than one computer is one
/// node with their number.
std::string drawing(const Relations& relations);

/// From an attribute to its values, each with the number of its computers.
std::string drawing(const std::string& attribute, const jamf::ExtensionAttributeValuesResult& values);

}  // namespace orvik::host::relationGraph
