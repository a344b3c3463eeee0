#pragma once

#include <cstdint>
#include <string_view>

#include "OrvikCore/Explore/BackupReader.h"
#include "OrvikCore/Reports/PDFDocumentWriter.h"
#include "OrvikCore/Reports/ReportContext.h"

/// What the report of a backup and that of a simulation have in common. Each draws its headings, too, and
/// nothing when there is nothing to tell. Indexes are read one at a time; one that can't be read is told, or
/// left out where the manifest says enough.
namespace orvik::reportBlocks {

enum class Mode { backup, simulation };

/// How the reading of each section ended, in the groups of the catalog.
void sectionTable(PDFDocumentWriter& writer, const BackupReader& reader, Mode mode);
/// What an administrator has to look after.
void attention(PDFDocumentWriter& writer, const BackupReader& reader);
/// What differs from the parent, by section; in a backup the fields of changed objects, too.
void changes(PDFDocumentWriter& writer, const BackupReader& reader, Mode mode);
/// The package files.
void files(PDFDocumentWriter& writer, const BackupReader& reader);
void notes(PDFDocumentWriter& writer, const ReportContext& context);

/// The section of package files.
inline constexpr std::string_view filesSection = "packageFiles";
/// Whether a section holds device inventories; false for one that the catalog doesn't know.
bool isDevices(std::string_view sectionID);
/// Objects that were removed, in all sections.
std::int64_t removedObjects(const BackupManifest& manifest);

}  // namespace orvik::reportBlocks
