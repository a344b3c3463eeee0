#pragma once

#include <exception>
#include <string>

#include "TuvCore/Error.h"

namespace orvik::host {

/// What scripts learn from a command's end. Never renumber.
enum class ExitStatus : int {
  done = 0,
  failed = 1,
  usage = 2,        ///< or a document that does not decode
  warnings = 3,     ///< published with warnings
  damaged = 4,      ///< a check found damage
  overdue = 5,      ///< nothing recent enough
  pending = 6,      ///< there are changes to be made
  notFound = 10,    ///< no such folder, backup, instance or organization
  locked = 11,      ///< another writer holds the folder
  credential = 12,  ///< missing or refused
  cancelled = 130,
};

/// The command line asks for something that doesn't exist or can't be.
class UsageError : public tuv::Error {
 public:
  using Error::Error;
};

/// There is no such folder, backup, instance or organization.
class NotFoundError : public tuv::Error {
 public:
  using Error::Error;
};

/// Another process does what only one may do at a time.
class BusyError : public tuv::Error {
 public:
  using Error::Error;
};

/// A secret is missing, can't be had or may not be used.
class CredentialError : public tuv::Error {
 public:
  using Error::Error;
};

/// Who read what a command prints has left, as a pager does when it is closed. Nobody waits for a sentence.
class ReaderLeft : public tuv::Error {
 public:
  ReaderLeft() : Error("") {}
};

/// How a command failed: the status, and the sentence for standard error, empty for none.
struct Failure {
  ExitStatus status = ExitStatus::failed;
  std::string message;
};

/// The one place where a failure becomes an exit status. Requires: `failure` holds an exception.
Failure describe(const std::exception_ptr& failure);

}  // namespace orvik::host
