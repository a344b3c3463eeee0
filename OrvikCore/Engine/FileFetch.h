#pragma once

#include <exception>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "OrvikCore/Engine/FileSection.h"
#include "OrvikCore/Engine/RunContext.h"
#include "Platform/Concurrency/Cancellation.h"

namespace orvik {

/// Gets one package file from the first of its sources that yields it, into the store.
///
/// The working file in the downloads folder has a stable name, so that a later run goes on where this one was
/// broken off. Bytes of two sources are never joined. What it is made of must outlive it.
class FileFetch {
 public:
  FileFetch(const RunContext& context, const FileSection::Target& target);

  /// What is to be told of the file before anything is fetched: its name, its size and the server's hash.
  static FileRef told(const FileSection::Target& target);

  /// The file's working file has this name.
  static std::string partName(const std::string& fileName);

  /// Says what came of it, also when no source had it. Throws `platform::CancellationError`, with the working
  /// file left, and what hashing and storing throw.
  FileRef run(const std::vector<FileSection::Source>& sources, const std::stop_token& stop);

 private:
  /// The digests, when they come by the way.
  using Obtained = std::optional<FileHasher::Digests>;
  Obtained obtain(const FileSection::JCDS& source, const std::stop_token& stop);
  Obtained obtain(const DistributionPoint& source, const std::stop_token& stop);
  Obtained obtain(const FileSection::Mount& source, const std::stop_token& stop);
  Obtained download(std::string_view source, const FileDownloader::MakeRequest& makeRequest,
                    const std::stop_token& stop);
  FileRef adopt(const FileSection::Source& source, const Obtained& obtained, platform::MonotonicTime started,
                const std::stop_token& stop);
  void count(std::int64_t bytes) const;
  void record(const FileSection::Source& source, platform::MonotonicTime started, AuditEntry entry) const;

  const RunContext& context_;
  const FileSection::Target& target_;
  const std::filesystem::path part_;
};

}  // namespace orvik
