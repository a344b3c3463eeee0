#include "Platform/Crypto/Certificate.h"

#include <openssl/err.h>
#include <openssl/x509.h>

#include <limits>
#include <utility>

#include "Platform/Crypto/KeyHandle.h"
#include "Platform/Crypto/PEMBlocks.h"

namespace platform {

namespace {

struct FreeCertificate {
  void operator()(X509* certificate) const { X509_free(certificate); }
};
using Handle = std::unique_ptr<X509, FreeCertificate>;

}  // namespace

struct Certificate::Parsed {
  Handle handle;
};

std::optional<Certificate> Certificate::fromDER(std::string_view der) {
  if (der.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return std::nullopt;
  const auto* begin = reinterpret_cast<const unsigned char*>(der.data());
  const unsigned char* position = begin;
  Handle handle(d2i_X509(nullptr, &position, static_cast<long>(der.size())));
  ERR_clear_error();
  if (!handle || position != begin + der.size()) return std::nullopt;
  return Certificate(std::make_shared<const Parsed>(Parsed{std::move(handle)}));
}

std::vector<Certificate> Certificate::allOfPEM(std::string_view pem) {
  std::vector<Certificate> all;
  for (const auto& block : pemBlocks(pem))
    if (block.label == "CERTIFICATE")
      if (auto one = fromDER(block.der.reveal())) all.push_back(std::move(*one));
  return all;
}

std::optional<Bytes> Certificate::ellipticCurvePoint() const {
  const EVP_PKEY* key = X509_get0_pubkey(parsed_->handle.get());
  if (key == nullptr) {
    ERR_clear_error();
    return std::nullopt;
  }
  return uncompressedPoint(key);
}

}  // namespace platform
