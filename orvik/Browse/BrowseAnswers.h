#pragma once

#include <stop_token>

#include "JamfCore/Tools/MCP/HTTPMessage.h"
#include "orvik/Browse/BrowseShelf.h"
#include "orvik/Browse/RequestTarget.h"

namespace orvik::host {

/// What the explorer's page asks for, read from the backups. JSON throughout, of the records that commands
/// print with --json, but for reports (PDF) and for files of objects:
///
///     /api/folders
///     /api/folders/0/backups
///     /api/folders/0/history?section=ID&id=ID
///     /api/folders/0/backups/ID
///     /api/folders/0/backups/ID/entries?section=ID
///     /api/folders/0/backups/ID/object?section=ID&id=ID
///     /api/folders/0/backups/ID/change?section=ID&id=ID&from=ID
///     /api/folders/0/backups/ID/differences?from=ID
///     /api/folders/0/backups/ID/search?q=TEXT[&contents=1][&limit=N]
///     /api/folders/0/backups/ID/report?name=backup|security
///     /api/folders/0/backups/ID/download?section=ID&id=ID&form=N
///
/// Any thread may call. Nothing is ever written.
class BrowseAnswers {
 public:
  /// `shelf` outlives it.
  explicit BrowseAnswers(const BrowseShelf& shelf) : shelf_(shelf) {}

  /// Throws what `describe` knows; `NotFoundError` for a path that is none of these, and `UsageError` for a
  /// query that lacks something.
  jamf::HTTPResponse answer(const RequestTarget& target, const std::stop_token& stop) const;

 private:
  const BrowseShelf& shelf_;
};

}  // namespace orvik::host
