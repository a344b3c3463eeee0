#pragma once

#include <memory>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "Platform/Bytes.h"

namespace platform {

/// An X.509 certificate (RFC 5280). Only its key matters here: neither its dates nor its issuer are looked
/// at. A value whose copies share one certificate; any thread may call.
class Certificate {
 public:
  /// DER bytes, nothing before and nothing behind the one certificate. Nothing for all else.
  static std::optional<Certificate> fromDER(std::string_view der);

  /// All certificates of a PEM text (RFC 7468) in its order; blocks that don't parse are left out.
  static std::vector<Certificate> allOfPEM(std::string_view pem);

  /// The uncompressed point of the certificate's public key (X9.63), 65 bytes for P-256; nothing when it is
  /// no key on a NIST curve over a prime field. Which of them isn't tested.
  std::optional<Bytes> ellipticCurvePoint() const;

 private:
  struct Parsed;
  explicit Certificate(std::shared_ptr<const Parsed> parsed) : parsed_(std::move(parsed)) {}
  std::shared_ptr<const Parsed> parsed_;
};

}  // namespace platform
