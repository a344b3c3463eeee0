#pragma once

#include <string>
#include <vector>

#include "Platform/Base64.h"
#include "Platform/Crypto/P256.h"
#include "Platform/Files/Files.h"
#include "Platform/Hex.h"
#include "tests/Support/Commands.h"

namespace orvik::test {

/// What the openssl program prints. Nothing reaches its standard input.
inline std::string openssl(const std::vector<std::string>& arguments) {
  return outputOf("openssl", arguments);
}

/// A block of PEM text (RFC 7468).
inline std::string pem(const std::string& label, std::string_view der) {
  const auto base64 = platform::base64Encode(der);
  std::string text = "-----BEGIN " + label + "-----\n";
  for (std::size_t at = 0; at < base64.size(); at += 64) text += base64.substr(at, 64) + "\n";
  return text + "-----END " + label + "-----\n";
}

/// The body of a PEM text of one block, decoded.
inline platform::Bytes derOf(const std::string& pemText) {
  std::string base64;
  for (std::size_t at = 0; at < pemText.size();) {
    const auto end = std::min(pemText.find('\n', at), pemText.size());
    if (pemText.compare(at, 5, "-----") != 0) base64 += pemText.substr(at, end - at);
    at = end + 1;
  }
  return platform::base64Decode(base64).value();
}

/// The same text with Windows line ends.
inline std::string withCRLF(const std::string& text) {
  std::string out;
  for (const char c : text) out += c == '\n' ? std::string("\r\n") : std::string(1, c);
  return out;
}

/// The private key with that scalar (64 hexadecimal digits) as RFC 5915 has it, without its public key.
inline std::string sec1OfScalar(std::string_view hex) {
  return pem("EC PRIVATE KEY",
             platform::hexDecode("30310201010420" + std::string(hex) + "a00a06082a8648ce3d030107").value());
}

inline platform::P256PrivateKey keyOfScalar(std::string_view hex) {
  return platform::P256PrivateKey::fromPEM(sec1OfScalar(hex));
}

/// A new private key of a curve as `openssl ecparam` writes it: SEC 1, after its parameters if wanted.
inline std::string newSEC1Key(const std::string& curve = "prime256v1", bool withParameters = false) {
  std::vector<std::string> arguments{"ecparam", "-name", curve, "-genkey"};
  if (!withParameters) arguments.emplace_back("-noout");
  return openssl(arguments);
}

/// A new private key as PKCS #8; the options of `openssl genpkey`.
inline std::string newPKCS8Key(const std::vector<std::string>& options = {"-algorithm", "EC", "-pkeyopt",
                                                                          "ec_paramgen_curve:P-256"}) {
  std::vector<std::string> arguments{"genpkey"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  return openssl(arguments);
}

/// A self-signed certificate (PEM) of a private key; more options of `openssl req`.
inline std::string certificateOf(const std::string& privateKey,
                                 const std::vector<std::string>& options = {}) {
  const platform::files::TempFolder folder;
  platform::files::atomicWrite(privateKey, folder / "key.pem");
  std::vector<std::string> arguments{"req",   "-x509",         "-new", "-key", (folder / "key.pem").string(),
                                     "-subj", "/CN=Orvik test"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  return openssl(arguments);
}

}  // namespace orvik::test
