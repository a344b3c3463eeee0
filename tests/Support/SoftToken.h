#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Files/Files.h"
#include "Platform/Hex.h"
#include "tests/Support/Commands.h"
#include "tests/Support/Folders.h"
#include "tests/Support/ScopedVariable.h"

namespace orvik::test {

/// The tokens of this process: SoftHSM with a folder of its own, and no PIN in the environment. What the user
/// of this machine has set up for PKCS #11 is out of sight. One at a time.
class TokenFolder {
 public:
  TokenFolder() {
    std::filesystem::create_directories(tokens());
    write(folder_ / "softhsm2.conf", "directories.tokendir = " + tokens().string() +
                                         "\nobjectstore.backend = file\nlog.level = ERROR\n");
    outputOf("openssl", {"genpkey", "-algorithm", "EC", "-pkeyopt", "ec_paramgen_curve:P-256", "-out",
                         issuerKey().string()});
  }

  Path tokens() const { return folder_ / "tokens"; }
  /// A key that signs certificates and is in no token.
  Path issuerKey() const { return folder_ / "issuer.pem"; }
  /// A path for a file that a test makes.
  Path file(std::string_view name) const { return folder_ / name; }

 private:
  platform::files::TempFolder folder_{"orvik-token"};
  ScopedVariable configuration_{"SOFTHSM2_CONF", (folder_ / "softhsm2.conf").string()};
  ScopedVariable modules_{"XDG_CONFIG_HOME", (folder_ / "config").string()};
  ScopedVariable pin_{"ORVIK_PKCS11_PIN"};
  ScopedVariable pinSource_{"ORVIK_PKCS11_PIN_SOURCE"};
};

/// One token, filled with the usual tools.
class SoftToken {
 public:
  using Bytes = platform::Bytes;

  static constexpr const char* pin = "481516";
  static constexpr const char* module = "/usr/lib/softhsm/libsofthsm2.so";

  explicit SoftToken(const TokenFolder& folder, std::string label = "Keys")
      : folder_(folder), label_(std::move(label)) {
    const auto before = folders();
    outputOf("softhsm2-util",
             {"--init-token", "--free", "--label", label_, "--so-pin", "23420000", "--pin", pin});
    for (const auto& each : folders())
      if (std::find(before.begin(), before.end(), each) == before.end()) path_ = folder.tokens() / each;
  }

  const std::string& label() const { return label_; }
  /// Where its objects are.
  const Path& path() const { return path_; }

  /// A key pair that is made in the token and can't leave it. For all that such a key can do, unless `usage`
  /// says more.
  void makeKey(const std::string& id, const std::string& type = "EC:prime256v1",
               const std::vector<std::string>& usage = {}) const {
    std::vector<std::string> arguments{"--keypairgen", "--key-type", type, "--id", id,
                                       "--label",      "key " + id};
    arguments.insert(arguments.end(), usage.begin(), usage.end());
    tool(std::move(arguments));
  }

  /// A key with a certificate: an identity.
  void makeIdentity(const std::string& id, const std::string& type = "EC:prime256v1") const {
    makeKey(id, type);
    certify(id, id);
  }

  /// Puts a certificate of a key that is in the token under an id.
  void certify(const std::string& keyID, const std::string& certificateID) const {
    const auto key = folder_.file("public.der");
    write(key, publicKeyDER(keyID));
    writeCertificate(certificateOf(key), certificateID);
  }

  /// Puts a certificate of a key that is not in the token under an id; the options are those of
  /// `openssl genpkey`.
  void certifyOtherKey(const std::string& id, std::vector<std::string> options) const {
    const auto key = folder_.file("other.pem"), publicKey = folder_.file("other.der");
    options.insert(options.begin(), "genpkey");
    options.insert(options.end(), {"-out", key.string()});
    outputOf("openssl", options);
    outputOf("openssl",
             {"pkey", "-in", key.string(), "-pubout", "-outform", "DER", "-out", publicKey.string()});
    writeCertificate(certificateOf(publicKey), id);
  }

  /// Puts a certificate under an id whose bytes are none.
  void makeUnreadableCertificate(const std::string& id) const {
    const auto before = platform::files::visibleNames(path_);
    certify(id, id);
    for (const auto& name : platform::files::visibleNames(path_)) {
      if (std::find(before.begin(), before.end(), name) != before.end() || !name.ends_with(".object"))
        continue;
      auto content = platform::files::read(path_ / name);
      const auto der = platform::files::read(folder_.file("written.der"));
      const auto begin = content.find(der);
      ASSERT_NE(begin, content.npos);
      content.replace(begin, 4, "junk");
      write(path_ / name, content);
    }
  }

  /// The DER certificate, signed with the issuer's key, of a public key.
  Bytes certificateOf(const Path& publicKeyDER) const {
    const auto path = folder_.file("certificate.der");
    outputOf("openssl", {"x509", "-new", "-force_pubkey", publicKeyDER.string(), "-subj", "/CN=Orvik test",
                         "-key", folder_.issuerKey().string(), "-outform", "DER", "-out", path.string()});
    return platform::files::read(path);
  }

  void writeCertificate(const Bytes& der, const std::string& id) const {
    const auto path = folder_.file("written.der");
    write(path, der);
    tool({"--write-object", path.string(), "--type", "cert", "--id", id, "--label", "certificate " + id});
  }

  /// SubjectPublicKeyInfo; of a key of P-256 its last 65 bytes are the point.
  Bytes publicKeyDER(const std::string& id) const {
    const auto path = folder_.file("read.der");
    tool({"--read-object", "--type", "pubkey", "--id", id, "--output-file", path.string()});
    return platform::files::read(path);
  }

  Bytes point(const std::string& id) const {
    const auto der = publicKeyDER(id);
    return der.substr(der.size() - 65);
  }

  /// `type` is "privkey", "pubkey" or "cert".
  void erase(const std::string& type, const std::string& id) const {
    tool({"--delete-object", "--type", type, "--id", id});
  }

  std::string list(const std::string& type) const { return tool({"--list-objects", "--type", type}); }

  /// Sets flags (CKF_...) that the token states, as if it had come to that.
  void addFlags(std::uint64_t flags) const {
    // An object file is a sequence of: type, kind and value, big-endian numbers of 8 bytes. This type is the
    // token's flags, this kind a number.
    const auto head = *platform::hexDecode("000000008000534b0000000000000002");
    auto content = platform::files::read(path_ / "token.object");
    const auto begin = content.find(head);
    ASSERT_NE(begin, content.npos);
    for (std::size_t i = 0; i < 8; ++i) {
      char& byte = content[begin + head.size() + i];
      byte = static_cast<char>(static_cast<unsigned char>(byte) | ((flags >> (8 * (7 - i))) & 0xFF));
    }
    write(path_ / "token.object", content);
  }

 private:
  std::vector<std::string> folders() const { return platform::files::visibleNames(folder_.tokens()); }

  std::string tool(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--module", module, "--token-label", label_, "--login", "--pin", pin});
    return outputOf("pkcs11-tool", arguments);
  }

  const TokenFolder& folder_;
  std::string label_;
  Path path_;
};

}  // namespace orvik::test
