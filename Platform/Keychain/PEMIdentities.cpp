#include "Platform/Keychain/PEMIdentities.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "Platform/Crypto/P256.h"
#include "Platform/Files/Files.h"
#include "Platform/Files/SecretFile.h"

namespace platform::keychain {

namespace {

constexpr std::size_t longestFile = 1 << 20;  // bytes

class FileKey final : public AgreementKey {
 public:
  explicit FileKey(P256PrivateKey key) : key_(std::move(key)) {}
  Secret256 sharedSecret(std::string_view peerX963) const override try {
    return key_.sharedSecret(peerX963);
  } catch (const CryptoError& error) {
    throw AgreementError(error.description());
  }

 private:
  P256PrivateKey key_;
};

/// A private key and, when it must not be used, why.
struct FoundKey {
  P256PrivateKey key;
  std::optional<std::string> refusal;
};

class FileIdentity final : public Identity {
 public:
  FileIdentity(Certificate certificate, FoundKey key)
      : certificate_(std::move(certificate)), key_(std::move(key)) {}
  const Certificate& certificate() const noexcept override { return certificate_; }
  std::unique_ptr<AgreementKey> privateKey() const override {
    if (key_.refusal) throw Error(*key_.refusal);
    return std::make_unique<FileKey>(key_.key);
  }

 private:
  Certificate certificate_;
  FoundKey key_;
};

struct FolderContent {
  std::vector<Certificate> certificates;
  std::map<Bytes, FoundKey> keys;  ///< by public key

  /// A copy of a key that may be used goes before one that may not.
  void add(FoundKey found) {
    const auto [entry, isNew] = keys.try_emplace(found.key.publicKey(), found);
    if (!isNew && entry->second.refusal) entry->second = std::move(found);
  }
};

void readInto(FolderContent& content, const files::Path& path) try {
  std::optional<std::string> refusal;
  SecretString text;
  try {
    text = files::readSecretFile(path, longestFile, files::Exposure::refused, {});
  } catch (const files::ExposedFileError&) {
    refusal =
        "Others can read the private key " + path.string() + ". This mends it: chmod 600 " + path.string();
    text = files::readSecretFile(path, longestFile, files::Exposure::allowed, {});
  }
  auto certificates = Certificate::allOfPEM(text.reveal());
  std::ranges::move(certificates, std::back_inserter(content.certificates));
  content.add({P256PrivateKey::fromPEM(text.reveal()), std::move(refusal)});
} catch (const std::exception&) {
  // A file without a usable key is no failure: most hold only a certificate.
}

}  // namespace

std::vector<std::shared_ptr<const Identity>> pemIdentities(const std::filesystem::path& folder) {
  FolderContent content;
  for (const auto& name : files::visibleNames(folder))
    if (name.ends_with(".pem") && files::isFile(folder / name)) readInto(content, folder / name);

  std::vector<std::shared_ptr<const Identity>> identities;
  for (auto& certificate : content.certificates) {
    const auto point = certificate.ellipticCurvePoint();
    if (!point) continue;
    const auto key = content.keys.find(*point);
    if (key != content.keys.end())
      identities.push_back(std::make_shared<FileIdentity>(certificate, key->second));
  }
  return identities;
}

}  // namespace platform::keychain
