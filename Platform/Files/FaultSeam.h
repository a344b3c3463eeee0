#pragma once

#include <cstdint>

/// The one place where a test can break the disk. Every operation of `platform::files` that changes the disk
/// asks `passFaultSeam` first: making a folder, opening a file that may be made by it, each write, rename,
/// delete and flush. It costs one relaxed load when nothing is armed. Any thread may call.
namespace platform::files {

enum class FaultAction {
  fail,          ///< the n-th operation fails with the error number
  failFromThen,  ///< the n-th and all later operations fail with it
  stop,          ///< the process ends at once, as by SIGKILL
};

/// Arms the seam and counts from 0 again: `action` happens at the n-th operation from now (1 is the next).
/// `code` is a system error number; 0 stands for EIO. An `n` beyond all operations only counts them.
void armFaultSeam(std::uint64_t n, FaultAction action, int code = 0);
/// Lets all operations pass; the count stays as it is until the seam is armed again.
void disarmFaultSeam();
/// How many operations have asked, failed ones included, while the seam was last armed; 0 when it never was.
std::uint64_t operationsSinceArmed();

/// 0 to go on, else the error number that the operation has to fail with.
int passFaultSeam() noexcept;

}  // namespace platform::files
