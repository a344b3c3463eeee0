#include "orvik/Output/JSONProgress.h"

#include "Platform/JSON/Value.h"
#include "orvik/Output/JSONRecord.h"

namespace orvik::host {

namespace {

namespace json = platform::json;
using json::Value;

Value eventNamed(std::string_view name) { return Value::object({{"event", name}}); }

Value valueOf(const SectionDefinition& section) {
  return Value::object(
      {{"id", section.id}, {"title", section.title}, {"group", json::textOf(section.group)}});
}

Value valueOf(const BackupEvents::Started& started) {
  auto line = eventNamed("started");
  line.set("backupID", started.backupID).set("resumed", started.resumed);
  if (started.parentBackupID) line.set("parentBackupID", *started.parentBackupID);
  Value::Array sections;
  for (const auto& section : started.sections) sections.push_back(valueOf(section));
  return line.set("sections", Value::array(std::move(sections)));
}

Value valueOf(const BackupEvents::SectionStarted& started) {
  return eventNamed("sectionStarted").set("section", valueOf(started.section));
}

Value valueOf(const BackupEvents::SectionProgress& progress) {
  return eventNamed("sectionProgress")
      .set("id", progress.id)
      .set("done", progress.done)
      .set("total", progress.total);
}

Value valueOf(const BackupEvents::SectionFinished& finished) {
  return eventNamed("sectionFinished").set("summary", jsonOf(finished.summary));
}

Value valueOf(const BackupEvents::BytesExpected& expected) {
  return eventNamed("bytesExpected").set("bytes", expected.bytes);
}

Value valueOf(const BackupEvents::BytesTransferred& transferred) {
  return eventNamed("bytesTransferred").set("bytes", transferred.bytes);
}

Value valueOf(const BackupEvents::Retention& retention) {
  return eventNamed("retention").set("result", jsonOf(retention.result));
}

Value valueOf(const BackupEvents::Note& note) { return eventNamed("note").set("text", note.text); }

Value finishedLine(const BackupManifest& manifest) {
  return eventNamed("finished")
      .set("backupID", manifest.backupID)
      .set("status", json::textOf(manifest.status))
      .set("totals", jsonOf(manifest.totals));
}

}  // namespace

std::string JSONProgress::lineFor(const BackupEvent& event) {
  return std::visit([](const auto& each) { return jsonLine(valueOf(each)); }, event);
}

std::string JSONProgress::lineFor(const BackupManifest& manifest) { return jsonLine(finishedLine(manifest)); }

std::string JSONProgress::lineFor(const SimulationOutcome& outcome) {
  return jsonLine(finishedLine(outcome.manifest).set("bytesToDownload", outcome.bytesToDownload));
}

std::string JSONProgress::lineFor(const Failure& failure) {
  return jsonLine(
      eventNamed("failed").set("message", failure.message).set("exit", static_cast<int>(failure.status)));
}

void JSONProgress::remark(const std::string& text) {
  if (verbosity_ == Verbosity::normal) remarks::line(text);
}

void JSONProgress::event(const BackupEvent& event) {
  if (verbosity_ == Verbosity::normal) results_.line(lineFor(event));
}

void JSONProgress::finished(const BackupOutcome& outcome) { results_.line(lineFor(outcome.manifest)); }
void JSONProgress::finished(const SimulationOutcome& outcome) { results_.line(lineFor(outcome)); }

}  // namespace orvik::host
