#pragma once

#include <functional>
#include <map>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

#include "OrvikCore/Explore/BackupReader.h"
#include "Platform/Crypto/Digest.h"
#include "orvik/Explore/Tree/FastImport.h"
#include "orvik/Explore/Tree/GitRepository.h"
#include "orvik/Explore/Tree/TreeSink.h"
#include "orvik/Explore/Tree/TreeState.h"

namespace orvik::host {

/// The files of the branch's newest commit, and what the next one changes in them.
class GitTree final : public TreeSink {
 public:
  /// Reads them; `head` is that commit, if there is one. Both must outlive it. Throws `tuv::Error`.
  GitTree(const GitRepository& repository, const std::optional<std::string>& head,
          const std::stop_token& stop);

  /// What the commit lists as the export's.
  TreeState state(const std::stop_token& stop) const;
  /// A file of the commit; nothing when there is none.
  std::optional<platform::Bytes> content(const std::string& path, const std::stop_token& stop) const;

  /// From now on contents go there.
  void writeTo(FastImport& import) { import_ = &import; }
  /// What changed since the last call.
  std::vector<FastImport::Change> takeChanges();

  bool put(const BackupReader::Entry& entry, const ObjectFile& file, Owner owner) override;
  void putRecord(const std::string& path, const platform::Bytes& text) override;
  void remove(const std::string& path) override;

 private:
  struct File {
    std::string name;  ///< of the content, as git gives it
    bool isExecutable = false;
    bool operator==(const File&) const = default;
  };

  std::string nameOf(std::string_view bytes) const;
  void set(const std::string& path, File file, const platform::Bytes& bytes);
  [[noreturn]] void refuse(const std::string& path) const;

  const GitRepository& repository_;
  platform::DigestAlgorithm algorithm_ = platform::DigestAlgorithm::sha1;
  std::map<std::string, File, std::less<>> files_;
  std::map<std::string, FastImport::Change> changes_;
  FastImport* import_ = nullptr;
};

}  // namespace orvik::host
