#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// The machine's name as its owner set it (PRETTY_HOSTNAME of machine-info), else `hostName()`.
std::string machineName();

/// The value of PRETTY_HOSTNAME in the content of a machine-info file (shell-like assignments, one a line,
/// the value plain or in quotes, the last one counts); nothing when it is missing, empty or has an open
/// quote.
std::optional<std::string> prettyHostName(std::string_view machineInfo);

/// A short text that differs from machine to machine, also between clones that bear one name and between
/// containers with processes of their own. It tells nothing about the machine, and stays when it is started
/// anew. Empty when nothing of that is known.
std::string machineMark();

/// The network host name of this machine.
std::string hostName();

/// The account name of the user that runs this process, or the numeric id when it has no entry.
std::string userName();

/// The account's full name (first GECOS field), or `userName()` when it is empty.
std::string fullUserName();

/// "Full Name (account)", or the account name alone when it has no full name.
std::string userWithFullName();

/// The user's home folder: HOME when that is an absolute path, else the account's.
std::string homeFolder();

/// The first of the comma-separated fields of an account's GECOS entry; "&" stands for the account name with
/// a capital first letter.
std::string fullNameOfGECOS(std::string_view gecos, std::string_view accountName);

/// This process's name, without its folder.
std::string processName();

/// This process's id.
std::int32_t processID();

enum class ProcessState { alive, gone };

/// Whether a process of this machine exists. A probe that is refused means that it lives; a number that is no
/// process id (0 or below) is gone.
ProcessState probeProcess(std::int32_t processID);

}  // namespace platform
