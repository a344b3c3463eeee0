#include "OrvikCore/Store/BackupJournal.h"

#include <string_view>
#include <utility>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Base64.h"
#include "Platform/Files/Files.h"
#include "TuvCore/Error.h"

namespace orvik {

namespace files = platform::files;

std::optional<PartialBackupState> PartialBackupState::load(const std::filesystem::path& directory) noexcept
    try {
  const auto bytes = files::tryRead(directory / BackupFormat::stateFile, BackupFormat::recordLimit);
  return bytes ? BackupFormat::makeDecoder().tryDecode<PartialBackupState>(*bytes) : std::nullopt;
} catch (...) {
  return std::nullopt;
}

void PartialBackupState::save(const std::filesystem::path& directory) const {
  ObjectStore::atomicWrite(BackupFormat::makeEncoder().encode(*this), directory / BackupFormat::stateFile);
}

BackupJournal::BackupJournal(const std::filesystem::path& directory, std::optional<BackupCipher> cipher)
    : cipher_(std::move(cipher)), file_(LineFile(directory / BackupFormat::journalFile)) {}

void BackupJournal::append(const JournalEntry& entry) {
  auto line = BackupFormat::makeLineEncoder().encode(entry);
  if (cipher_) line = platform::base64Encode(cipher_->seal(line));
  file_.withLock([&](LineFile& file) { file.append(line); });
}

void BackupJournal::close() noexcept {
  file_.withLock([](LineFile& file) { file.close(); });
}

namespace {

std::optional<JournalEntry> readLine(std::string_view line, const std::optional<BackupCipher>& cipher) {
  const auto decoder = BackupFormat::makeDecoder();
  if (line.front() == '{') return decoder.tryDecode<JournalEntry>(line);
  if (!cipher) return std::nullopt;
  const auto sealed = platform::base64Decode(line);
  if (!sealed) return std::nullopt;
  try {
    return decoder.tryDecode<JournalEntry>(cipher->open(*sealed));
  } catch (const tuv::Error&) {
    return std::nullopt;
  }
}

}  // namespace

std::vector<JournalEntry> BackupJournal::read(const std::filesystem::path& directory,
                                              const std::optional<BackupCipher>& cipher) {
  const auto content = files::tryRead(directory / BackupFormat::journalFile, BackupFormat::indexLimit);
  return content ? parse(*content, cipher) : std::vector<JournalEntry>();
}

std::vector<JournalEntry> BackupJournal::parse(std::string_view content,
                                               const std::optional<BackupCipher>& cipher) {
  std::vector<JournalEntry> entries;
  for (const auto line : LineFile::lines(content))
    if (auto entry = readLine(line, cipher)) entries.push_back(std::move(*entry));
  return entries;
}

}  // namespace orvik
