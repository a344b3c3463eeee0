#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

#include "Platform/Files/Files.h"
#include "Platform/Files/SecretFile.h"
#include "Platform/Keychain/Passwords.h"
#include "Platform/UUID.h"

namespace platform::keychain {

namespace {

using Reason = PasswordError::Reason;

constexpr std::size_t longestSecret = 1 << 20;  // bytes
constexpr std::size_t longestName = 200;        // bytes, so that a temporary name fits too
constexpr mode_t othersRights = S_IRWXG | S_IRWXO;

/// Letters, digits, "-", "_" and "." stay; every other byte is "%" and two hexadecimal digits, so that
/// different names are different files.
std::string encoded(std::string_view text) {
  std::string out;
  for (const char c : text) {
    const bool stays = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                       c == '-' || c == '_' || c == '.';
    out += stays ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return out;
}

class SecretFolder final : public PasswordStore {
 public:
  explicit SecretFolder(std::filesystem::path folder) : folder_(std::move(folder)) {}

  std::optional<SecretString> find(const std::string& service, const std::string& account) override try {
    const auto path = pathOf(service, account);
    if (!isPrivateFolder() || !files::exists(path)) return std::nullopt;
    try {
      return files::readSecretFile(path, longestSecret, files::Exposure::refused, {});
    } catch (const files::ExposedFileError& error) {
      throw Error(fmt::format("{}; run: chmod 600 '{}'", error.description(), path.string()));
    }
  } catch (const Error& error) {
    refuse(error);
  }

  void set(const std::string& service, const std::string& account, const SecretString& secret) override try {
    const auto path = pathOf(service, account);
    if (!isPrivateFolder()) {
      files::createDirectories(folder_.parent_path());
      if (mkdir(folder_.c_str(), S_IRWXU) != 0 && errno != EEXIST)
        throw Error(
            fmt::format("{} can't be made: {}", folder_.string(), std::system_category().message(errno)));
      isPrivateFolder();
    }
    const auto beside = folder_ / ("." + UUID::random().text());
    files::writeSecretFile(beside, secret);
    try {
      files::rename(beside, path);
    } catch (...) {
      files::tryRemove(beside);
      throw;
    }
  } catch (const Error& error) {
    refuse(error);
  }

  void remove(const std::string& service, const std::string& account) override try {
    const auto path = pathOf(service, account);
    if (isPrivateFolder() && files::exists(path)) files::remove(path);
  } catch (const Error& error) {
    refuse(error);
  }

 private:
  [[noreturn]] static void refuse(const Error& error) {
    if (dynamic_cast<const PasswordError*>(&error)) throw;
    throw PasswordError(Reason::failed, error.description());
  }

  std::filesystem::path pathOf(const std::string& service, const std::string& account) const {
    auto name = encoded(service) + "," + encoded(account);
    if (name.size() > longestName)
      throw Error("the names of service and account are too long for a file's name");
    return folder_ / name;
  }

  /// False when there is no folder; throws when it isn't this user's alone.
  bool isPrivateFolder() const {
    struct stat status {};
    if (lstat(folder_.c_str(), &status) != 0) {
      if (errno == ENOENT) return false;
      throw Error(
          fmt::format("{} can't be looked at: {}", folder_.string(), std::system_category().message(errno)));
    }
    if (!S_ISDIR(status.st_mode)) throw Error(fmt::format("{} is not a folder", folder_.string()));
    if (status.st_uid != geteuid())
      throw Error(fmt::format("the folder {} belongs to somebody else", folder_.string()));
    if (status.st_mode & othersRights)
      throw Error(
          fmt::format("others may look into {}; run: chmod 700 '{}'", folder_.string(), folder_.string()));
    return true;
  }

  std::filesystem::path folder_;
};

}  // namespace

std::unique_ptr<PasswordStore> secretFolder(std::filesystem::path folder) {
  return std::make_unique<SecretFolder>(std::move(folder));
}

std::unique_ptr<PasswordStore> passwords(const std::filesystem::path& folder) {
  if (auto service = secretService()) return service;
  return secretFolder(folder);
}

}  // namespace platform::keychain
