#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Jamf/SectionCatalog.h"
#include "OrvikCore/Jamf/ServerFacts.h"
#include "OrvikCore/Reports/AuditSummary.h"
#include "OrvikCore/Reports/BackupLocation.h"
#include "OrvikCore/Reports/BackupReports.h"
#include "OrvikCore/Reports/PDFDocumentWriter.h"
#include "OrvikCore/Reports/ReportText.h"
#include "OrvikCore/Reports/SensitiveSections.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Locale/Text.h"

namespace orvik {

namespace {

using Path = BackupReports::Path;
using Tone = PDFDocumentWriter::Tone;
using Row = PDFDocumentWriter::Row;
using reportText::dateAndTime;
using reportText::line;

constexpr int mostCellLines = 12;
constexpr std::size_t longestList = 4000;  // characters of a list within a sentence

constexpr std::size_t listedChanging = 200;  // privileges
constexpr std::size_t listedPrivileges = 1000;
constexpr std::size_t listedSensitive = 40;  // sections
constexpr std::int64_t mostActionsInFull = 3000;
constexpr std::int64_t listedActions = 10000;  // rows
constexpr std::int64_t listedLocalActions = 1000;

std::string listOf(const std::vector<std::string>& texts) {
  return line(fmt::format("{}", fmt::join(texts, ", ")), longestList);
}

std::string withStatus(const AuditEntry& entry) {
  auto text = AuditSummary::outcomeText(entry);
  if (entry.status && entry.status != 403) text += fmt::format(" ({})", *entry.status);
  return text;
}

/// Size, duration and remark of an action, as far as they are known.
std::string detailsOf(const AuditEntry& entry) {
  std::vector<std::string> parts;
  if (entry.bytes) parts.push_back(platform::locale::byteCount(*entry.bytes));
  if (entry.milliseconds) parts.push_back(fmt::format("{} ms", *entry.milliseconds));
  if (entry.detail && !entry.detail->empty())
    parts.push_back(line(*entry.detail, reportText::longestMessage));
  return fmt::format("{}", fmt::join(parts, " · "));
}

std::string number(std::int64_t value) { return std::to_string(value); }

class SecurityReport {
 public:
  SecurityReport(const BackupManifest& manifest, const AuditTrail& audit, const std::optional<Path>& folder,
                 const ReportContext& context, bool simulation)
      : manifest_(manifest),
        audit_(audit),
        folder_(folder),
        context_(context),
        simulation_(simulation),
        summary_(audit, DownloadSources(manifest, folder)),
        writer_("Orvik security report – " + line(manifest.backupID), context.user, context.footer(manifest),
                PDFDocumentWriter::a4, context.created) {}

  platform::Bytes make() {
    writer_.cover("Security report",
                  fmt::format("{} · {}", line(manifest_.instance.name), dateAndTime(manifest_.startedAt)),
                  std::nullopt);
    facts();
    encryption();
    verification();
    privileges();
    sensitiveContent();
    outcomes();
    endpoints();
    localActions();
    actionLog();
    return writer_.finish();
  }

 private:
  void facts() {
    writer_.heading("Who, what, where");
    PDFDocumentWriter::KeyValues facts{
        {"Backup",
         simulation_ ? "Simulation (nothing written to the backup folder)" : line(manifest_.backupID)},
        {"Period",
         fmt::format("{} – {}", dateAndTime(manifest_.startedAt), dateAndTime(manifest_.finishedAt))},
        {"Run by", context_.runBy()},
        {"Jamf Pro", reportText::server(manifest_)},
        {"Client ID", line(context_.clientID)},
        {"Client secret from", line(context_.credentialSource, reportText::longestMessage)}};
    std::map<std::string, Tone> tones;
    folderFacts(facts, tones);
    facts.emplace_back("Audit log", auditLogText());
    if (summary_.entries == 0 || summary_.damagedLines > 0) tones["Audit log"] = Tone::warning;
    writer_.keyValues(facts, tones);
  }

  void folderFacts(PDFDocumentWriter::KeyValues& facts, std::map<std::string, Tone>& tones) const {
    if (!isWritten()) {
      facts.emplace_back("Backup folder", "— (not written)");
      return;
    }
    facts.emplace_back("Backup folder", fmt::format("{} · {}", line(BackupLocation::describe(*folder_)),
                                                    line(folder_->string(), reportText::longestMessage)));
    const auto permissions = BackupLocation::permissions(*folder_);
    auto text = permissions ? permissions->text : "unknown";
    if (permissions && permissions->othersCanRead) {
      text += " — readable by other users of this Mac";
      tones["Folder permissions"] = Tone::warning;
    }
    facts.emplace_back("Folder permissions", std::move(text));
  }

  std::string auditLogText() const {
    auto text = summary_.entries == 0
                    ? fmt::format("{}: missing or empty", BackupFormat::auditFile)
                    : fmt::format("{}, {} entries", BackupFormat::auditFile, summary_.entries);
    if (summary_.damagedLines > 0) text += fmt::format(", {} damaged lines left out", summary_.damagedLines);
    return text;
  }

  void encryption() {
    if (!isWritten()) return writer_.paragraph("Simulations write nothing to the backup folder.");
    const auto record = BackupEncryption::info(*folder_);
    if (!record && !manifest_.encryption)
      return writer_.paragraph(
          "Not encrypted. Anyone who can read the backup folder can read its content. Encryption can be "
          "switched on with the EncryptBackups key in the configuration profile.");
    const auto& sealing = manifest_.encryption;
    writer_.paragraph(fmt::format(
        "Encrypted ({}: AES-256-GCM) with the instance's data key, wrapped for the organisation key {}. "
        "Objects, section indexes (names), the progress journal and these reports are sealed; package "
        "binaries, the manifest summary and this audit log are not.",
        sealing ? sealing->scheme : record->scheme,
        listOf(sealing ? sealing->keyIDs : BackupEncryption::keyIDs(*record))));
    if (!sealing)
      writer_.paragraph(
          "This backup was made before the instance was encrypted: what was stored until then is not sealed.",
          Tone::warning);
  }

  void verification() {
    writer_.heading("Read-only verification");
    const auto methods = summary_.methods.names();
    // Without a single request nothing is proven, however true the sentence is.
    if (summary_.requests == 0 || summary_.isReadOnly())
      writer_.paragraph(
          fmt::format("Read-only: every one of the {} API requests was a GET.", summary_.requests),
          summary_.requests == 0 ? Tone::muted : Tone::good);
    else
      writer_.paragraph("Unexpected request methods: " + listOf(methods), Tone::bad);
    writer_.paragraph(fmt::format("API requests: {}, methods used: {}", summary_.requests,
                                  methods.empty() ? "none" : listOf(methods)));
    writer_.paragraph(
        "Authentication: OAuth client credentials (POST api/oauth/token) — the only non-GET call; it returns "
        "a short-lived bearer token that is kept in memory only.");
    writer_.paragraph(
        "Client secrets, bearer tokens and presigned download URLs are never written to the backup, the logs "
        "or this report.");
    writer_.paragraph(summary_.downloads == 0
                          ? "File downloads: none."
                          : fmt::format("File downloads: {} completed from {}", summary_.downloads,
                                        listOf(summary_.sources.names())));
  }

  void privileges() {
    writer_.heading("Privileges of the API client");
    if (!manifest_.privileges || manifest_.privileges->empty())
      writer_.paragraph(
          "Jamf Pro did not report the client's privileges (api/v1/auth). Check the API role in Jamf Pro: it "
          "should contain read privileges only.");
    else
      reportedPrivileges(*manifest_.privileges);
    refusals();
  }

  void reportedPrivileges(const std::vector<std::string>& all) {
    std::vector<std::string> changing;
    std::ranges::copy_if(all, std::back_inserter(changing), std::not_fn(ServerFacts::isReading));
    if (changing.empty()) {
      writer_.paragraph(fmt::format("All {} privileges are read privileges. Good: the client cannot change "
                                    "Jamf Pro.",
                                    all.size()),
                        Tone::good);
    } else {
      writer_.paragraph(fmt::format("{} of {} privileges allow changes. Orvik never uses them; remove them "
                                    "from the API role (see JAMF-API-ROLE.md).",
                                    changing.size(), all.size()),
                        Tone::warning);
      writer_.bullets(changing, Tone::bad, listedChanging);
    }
    writer_.subheading(fmt::format("All privileges ({})", all.size()));
    writer_.bullets(all, Tone::normal, listedPrivileges);
  }

  void refusals() {
    std::vector<std::string> titles;
    for (const auto& section : manifest_.sections)
      if (section.status == SectionSummary::Status::notPermitted)
        titles.push_back(reportText::title(section));
    if (!titles.empty())
      writer_.paragraph(
          fmt::format("Access was refused (HTTP 403) for {} section(s): {}. That is safe; add "
                      "the read privilege only if the section is needed.",
                      titles.size(), listOf(titles)));
  }

  void sensitiveContent() {
    writer_.heading("Sensitive content in this backup");
    const auto sentences = sensitiveSentences();
    if (sentences.empty()) {
      writer_.paragraph("It holds no section that is known to contain credentials or personal data.",
                        Tone::muted);
    } else {
      writer_.paragraph("Treat the backup folder like the Jamf Pro server itself. It contains:");
      writer_.bullets(sentences, Tone::normal, listedSensitive);
    }
    if (!isWritten()) return;
    const auto kind = BackupLocation::kind(*folder_);
    if (kind == BackupLocation::Kind::iCloud || kind == BackupLocation::Kind::cloudStorage)
      writer_.paragraph(
          fmt::format("The folder is on {}. Limit sharing to the people who run backups, and check the "
                      "provider's retention and access logs.",
                      BackupLocation::describe(*folder_)),
          Tone::warning);
  }

  /// Of the sections that have an index, in catalog order.
  std::vector<std::string> sensitiveSentences() const {
    std::vector<std::string> sentences;
    for (const auto& definition : SectionCatalog::all()) {
      const auto sentence = sensitivityOf(definition.id);
      const auto section = std::ranges::find(manifest_.sections, definition.id, &SectionSummary::id);
      if (!sentence.empty() && section != manifest_.sections.end() && section->index)
        sentences.push_back(fmt::format("{}: {}", definition.title, sentence));
    }
    return sentences;
  }

  void outcomes() {
    writer_.heading("Requests by outcome");
    if (isWithoutRequests()) return;
    std::vector<Row> rows;
    for (const auto& row : summary_.outcomes.rows()) rows.push_back({{row.name, number(row.count)}, {}});
    writer_.table({{"Outcome", 4}, {"Requests", 1, true}}, rows, mostCellLines);
  }

  void endpoints() {
    writer_.heading("Endpoints");
    if (isWithoutRequests()) return;
    std::vector<Row> rows;
    for (const auto& row : summary_.endpoints.rows()) {
      rows.push_back({{row.name, number(row.count), number(row.errors),
                       platform::locale::byteCount(row.bytes), number(row.milliseconds)},
                      {}});
      if (row.errors > 0) rows.back().tones[2] = Tone::warning;
    }
    writer_.table({{"Endpoint", 5.2},
                   {"Requests", 1, true},
                   {"Errors", 0.8, true},
                   {"Data", 1, true},
                   {"Milliseconds", 1.3, true}},
                  rows, mostCellLines);
  }

  bool isWithoutRequests() {
    if (summary_.requests == 0) writer_.paragraph("The audit log holds no request.", Tone::muted);
    return summary_.requests == 0;
  }

  void localActions() {
    writer_.heading("Actions on this Mac");
    if (summary_.localActions == 0)
      return writer_.paragraph("The audit log holds no local action.", Tone::muted);
    table(
        {{"Time", 2.1}, {"Action", 0.8}, {"What", 3.6}, {"Details", 3.3}}, summary_.localActions,
        listedLocalActions, [](const AuditEntry& entry) { return entry.kind == AuditEntry::Kind::local; },
        [](const AuditEntry& entry) {
          return Row{{platform::iso8601(entry.time), line(entry.method),
                      line(entry.target, reportText::longestMessage), detailsOf(entry)},
                     {}};
        });
  }

  void actionLog() {
    writer_.heading("Action log");
    const bool isInFull = summary_.entries <= mostActionsInFull;
    writer_.paragraph(
        isInFull
            ? fmt::format("Every action of the run in order ({}).", summary_.entries)
            : fmt::format("{} actions in total; listed here are all downloads, local actions and requests "
                          "that did not answer 200 ({}). The complete log is audit.jsonl in the backup "
                          "folder.",
                          summary_.entries, summary_.notable));
    table(
        {{"Time", 2.1}, {"Action", 0.8}, {"What", 3.4}, {"Result", 1.5}, {"Details", 2.5}},
        isInFull ? summary_.entries : summary_.notable, listedActions,
        [&](const AuditEntry& entry) { return isInFull || AuditSummary::isNotable(entry); },
        [](const AuditEntry& entry) {
          Row row{{platform::iso8601(entry.time), line(entry.method),
                   line(entry.target, reportText::longestMessage), line(withStatus(entry)), detailsOf(entry)},
                  {}};
          if (entry.outcome != "ok") row.tones[3] = Tone::warning;
          return row;
        });
  }

  /// The first rows of `count`, straight from the log.
  template <typename IsListed, typename MakeRow>
  void table(std::vector<PDFDocumentWriter::Column> columns, std::int64_t count, std::int64_t most,
             const IsListed& isListed, const MakeRow& makeRow) {
    if (count == 0) return;
    writer_.beginTable(std::move(columns), mostCellLines);
    std::int64_t listed = 0;
    audit_.forEach([&](const AuditEntry& entry) {
      if (listed == most || !isListed(entry)) return;
      writer_.row(makeRow(entry));
      ++listed;
    });
    writer_.endTable();
    if (count > most) writer_.paragraph(fmt::format("{} more actions.", count - most), Tone::muted);
  }

  bool isWritten() const { return folder_ && !simulation_; }

  const BackupManifest& manifest_;
  const AuditTrail& audit_;
  const std::optional<Path>& folder_;
  const ReportContext& context_;
  const bool simulation_;
  const AuditSummary summary_;
  PDFDocumentWriter writer_;
};

}  // namespace

platform::Bytes BackupReports::securityReport(const BackupManifest& manifest, const AuditTrail& audit,
                                              const std::optional<Path>& folder, const ReportContext& context,
                                              bool simulation) {
  return SecurityReport(manifest, audit, folder, context, simulation).make();
}

}  // namespace orvik
