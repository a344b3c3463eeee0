#include "orvik/Backup/RunReports.h"

#include <fmt/format.h>

#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Reports/BackupReports.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Store/BackupLock.h"
#include "Platform/Files/Files.h"
#include "Platform/Host.h"

namespace orvik::host {

namespace {

constexpr std::size_t mostNotes = 1000;

/// A simulation of a folder's first sealing seals its indexes with a key that nobody has.
void openIndexes(const SimulationResult& result) {
  for (const auto& section : result.manifest.sections)
    if (const auto index = BackupRepository::loadIndex(result.directory, section.id, result.cipher))
      BackupRepository::writeIndex(*index, result.directory / BackupFormat::sectionPath(section.id),
                                   std::nullopt);
}

}  // namespace

RunReports::RunReports(std::string clientID, std::string credentialSource)
    : clientID_(std::move(clientID)), credentialSource_(std::move(credentialSource)) {}

void RunReports::listen(const BackupEvent& event) {
  told_.withLock([&](Told& told) {
    if (const auto* retention = std::get_if<BackupEvents::Retention>(&event))
      told.retention = retention->result;
    const auto* note = std::get_if<BackupEvents::Note>(&event);
    if (note == nullptr) return;
    if (told.notes.size() < mostNotes)
      told.notes.push_back(note->text);
    else
      ++told.unkeptNotes;
  });
}

ReportContext RunReports::context() const {
  ReportContext context;
  context.user = platform::userWithFullName();
  context.host = BackupLock::currentHost();
  context.orvikVersion = ORVIK_VERSION;
  context.clientID = clientID_;
  context.credentialSource = credentialSource_;
  told_.withLock([&](const Told& told) {
    context.notes = told.notes;
    if (told.unkeptNotes > 0) context.notes.push_back(fmt::format("{} more notes.", told.unkeptNotes));
    context.retention = told.retention;
  });
  return context;
}

void RunReports::write(const BackupRepository& repository, const std::string& backupID, ProgressView& view,
                       const std::stop_token& stop) const {
  if (stop.stop_requested())
    return view.event(BackupEvents::Note{
        "The reports were not written, because the run was cancelled; orvikctl report writes them."});
  view.step("Writing the reports");
  for (const auto& failure : BackupReports::writeReports(repository, backupID, context()))
    view.event(BackupEvents::Note{failure});
}

void RunReports::writeSimulation(const BackupRepository& repository, const SimulationResult& result,
                                 const std::filesystem::path& file) const {
  if (result.cipher && !BackupEncryption::isEncrypted(repository.instanceDirectory)) openIndexes(result);
  const BackupReader reader(repository, result.manifest, result.directory);
  platform::files::atomicWrite(BackupReports::simulationReport(reader, result.bytesToDownload, context()),
                               file);
}

}  // namespace orvik::host
