#include "OrvikCore/Security/CertificateKey.h"

#include <string>

#include "OrvikCore/Security/SecretError.h"
#include "Platform/Base64.h"
#include "Platform/Locale/Text.h"

namespace orvik::CertificateKey {

namespace {

/// What stands between the lines of dashes, in one piece.
std::string base64Lines(std::string_view pem) {
  std::string joined;
  for (const auto line : platform::locale::lines(pem))
    if (!line.starts_with("-----")) joined += line;
  return joined;
}

}  // namespace

platform::Bytes x963PublicKey(std::string_view certificateData) {
  std::optional<platform::Bytes> decoded;
  const bool isPEM = certificateData.find("-----BEGIN CERTIFICATE-----") != std::string_view::npos &&
                     platform::locale::isValidUTF8(certificateData);
  if (isPEM) {
    decoded = platform::base64Decode(base64Lines(certificateData));
    if (!decoded) throw SecretError::crypto("invalid PEM certificate");
  }
  const auto certificate = platform::Certificate::fromDER(decoded ? *decoded : certificateData);
  if (!certificate) throw SecretError::crypto("invalid certificate");
  auto key = x963PublicKey(*certificate);
  if (!key) throw SecretError::crypto("certificate does not contain a P-256 key");
  return std::move(*key);
}

std::optional<platform::Bytes> x963PublicKey(const platform::Certificate& certificate) {
  return certificate.ellipticCurvePoint();
}

}  // namespace orvik::CertificateKey
