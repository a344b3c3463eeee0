#pragma once

#include <cstddef>
#include <stop_token>
#include <string>

#include "Platform/Files/Files.h"
#include "Platform/SecretString.h"

/// Files and pipes that hold secrets. What is read never stands in memory that isn't wiped.
namespace platform::files {

/// A file that is refused because its mode lets others read or write it.
class ExposedFileError : public Error {
 public:
  using Error::Error;
};

enum class Exposure { refused, allowed };

/// Reads a descriptor to its end; it stays open. A stop is noticed while it waits. Throws `Error` for a
/// failed read or more than `limit` bytes, naming `what`, and `CancellationError` on a stop.
SecretString readSecretly(int descriptor, std::size_t limit, const std::string& what,
                          const std::stop_token& stop);

/// Reads one line from a descriptor and nothing behind it, so that a person's line is enough. Its line feed,
/// and a carriage return right before it, are not part of it; the end of the input ends it too. Throws the
/// same.
SecretString readLineSecretly(int descriptor, std::size_t limit, const std::string& what,
                              const std::stop_token& stop);

/// The whole content of a file or pipe. Throws the same, `FileError` when it can't be opened, and
/// `ExposedFileError` when exposure is refused and anybody but its owner has a right to it.
SecretString readSecretFile(const Path& path, std::size_t limit, Exposure exposure,
                            const std::stop_token& stop);

/// Makes a file that its owner alone can read (mode 0600), from before its first byte on. Throws `FileError`,
/// also when it exists.
void writeSecretFile(const Path& path, const SecretString& secret);

}  // namespace platform::files
