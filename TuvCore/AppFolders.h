#pragma once

#include <filesystem>

/// Where this program keeps what belongs to a user or to the machine. Nothing is made. Any thread may call,
/// as long as nothing changes the environment.
namespace tuv::AppFolders {

/// The user's data folder: "orvik" below XDG_DATA_HOME when that is an absolute path, else below
/// ~/.local/share.
std::filesystem::path user();

/// The machine's: /var/lib/orvik.
std::filesystem::path system();

}  // namespace tuv::AppFolders
