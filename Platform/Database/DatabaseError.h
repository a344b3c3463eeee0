#pragma once

#include <string>
#include <utility>

#include "Platform/Error.h"

namespace platform {

enum class DatabaseErrorKind {
  busy,      ///< another process held the file for longer than we wait
  readOnly,  ///< the file, its folder or its disk can't be written
  damaged,   ///< the file is cut, changed by others or no database at all
  full,      ///< no room, or a limit of the account
  refused,   ///< a rule of a table refuses the record: not unique, empty, or of the wrong type
  other,
};

/// A failed operation of a database. `description()` names the file and what is wrong: "The database
/// /home/a/x.sqlite is locked by another process."
class DatabaseError : public Error {
 public:
  DatabaseError(DatabaseErrorKind kind, std::string description)
      : Error(std::move(description)), kind_(kind) {}
  DatabaseErrorKind kind() const noexcept { return kind_; }

 private:
  DatabaseErrorKind kind_;
};

}  // namespace platform
