#include "Platform/Crypto/Certificate.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <limits>
#include <utility>

#include "Platform/Crypto/KeyHandle.h"

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
  if (pem.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) return all;
  const std::unique_ptr<BIO, decltype(&BIO_free)> text(
      BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), &BIO_free);
  if (!text) return all;
  while (true) {
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long length = 0;
    // The block may be a private key: with the flag the reader wipes its own buffers.
    if (PEM_read_bio_ex(text.get(), &name, &header, &data, &length,
                        PEM_FLAG_SECURE | PEM_FLAG_EAY_COMPATIBLE) != 1)
      break;
    if (std::string_view(name) == "CERTIFICATE")
      if (auto one = fromDER({reinterpret_cast<const char*>(data), static_cast<std::size_t>(length)}))
        all.push_back(std::move(*one));
    OPENSSL_secure_free(name);
    OPENSSL_secure_free(header);
    OPENSSL_secure_clear_free(data, static_cast<std::size_t>(length));
  }
  ERR_clear_error();
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
