#include "Platform/Crypto/Certificate.h"

#include <gtest/gtest.h>

#include <string>

#include "Platform/Crypto/P256.h"
#include "tests/Support/OpensslKeys.h"

namespace platform {
namespace {

using namespace orvik::test;

TEST(CertificateTest, GivesThePointOfItsKey) {
  const auto key = newPKCS8Key();
  const auto certificate = Certificate::fromDER(derOf(certificateOf(key)));
  ASSERT_TRUE(certificate);
  EXPECT_EQ(certificate->ellipticCurvePoint(), P256PrivateKey::fromPEM(key).publicKey());
}

TEST(CertificateTest, GivesThePointOfAnotherCurveAndNoneForOtherKeys) {
  const auto point = [](const std::string& key) {
    return Certificate::fromDER(derOf(certificateOf(key))).value().ellipticCurvePoint();
  };
  EXPECT_EQ(point(newSEC1Key("secp384r1")).value().size(), 97U);
  EXPECT_EQ(point(newSEC1Key("secp521r1")).value().size(), 133U);
  EXPECT_EQ(point(newPKCS8Key({"-algorithm", "ED25519"})), std::nullopt);
  EXPECT_EQ(point(newSEC1Key("secp256k1")), std::nullopt);
  EXPECT_EQ(point(newSEC1Key("sect283r1")), std::nullopt);
  EXPECT_EQ(point(newPKCS8Key({"-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:1024"})), std::nullopt);
}

TEST(CertificateTest, ACompressedPointComesUncompressed) {
  const files::TempFolder folder;
  files::atomicWrite(newSEC1Key(), folder / "key.pem");
  const auto compressed = openssl({"ec", "-in", (folder / "key.pem").string(), "-conv_form", "compressed"});
  const auto der = derOf(certificateOf(compressed));
  const auto point = P256PrivateKey::fromPEM(compressed).publicKey();
  ASSERT_EQ(der.find(point), std::string::npos) << "the certificate holds the compressed form";
  EXPECT_EQ(Certificate::fromDER(der).value().ellipticCurvePoint(), point);
}

TEST(CertificateTest, DERHasNothingBehindItAndNothingMissing) {
  const auto der = derOf(certificateOf(newPKCS8Key()));
  EXPECT_TRUE(Certificate::fromDER(der));
  EXPECT_FALSE(Certificate::fromDER(der + '\0'));
  EXPECT_FALSE(Certificate::fromDER(der + der));
  EXPECT_FALSE(Certificate::fromDER('\0' + der));
  for (std::size_t length = 0; length < der.size(); ++length)
    EXPECT_FALSE(Certificate::fromDER(std::string_view(der).substr(0, length))) << length;
}

TEST(CertificateTest, APointOffTheCurveIsNoKey) {
  const auto key = newPKCS8Key();
  auto der = derOf(certificateOf(key));
  const auto at = der.find(P256PrivateKey::fromPEM(key).publicKey());
  ASSERT_NE(at, std::string::npos);
  der[at + 64] = static_cast<char>(der[at + 64] ^ 1);
  const auto certificate = Certificate::fromDER(der);
  EXPECT_TRUE(!certificate || !certificate->ellipticCurvePoint());
}

TEST(CertificateTest, AllOfPEMTakesCertificatesInTheirOrderAndLeavesOutTheRest) {
  const auto firstKey = newPKCS8Key();
  const auto secondKey = newPKCS8Key();
  const auto text = "first\n" + certificateOf(firstKey) + firstKey + pem("CERTIFICATE", "no certificate") +
                    withCRLF(certificateOf(secondKey)) + secondKey;
  const auto all = Certificate::allOfPEM(text);
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].ellipticCurvePoint(), P256PrivateKey::fromPEM(firstKey).publicKey());
  EXPECT_EQ(all[1].ellipticCurvePoint(), P256PrivateKey::fromPEM(secondKey).publicKey());
  const auto good = certificateOf(firstKey);
  auto damaged = good;
  damaged[damaged.find('\n') + 5] = '!';
  EXPECT_EQ(Certificate::allOfPEM(damaged + good + damaged).size(), 1U);
  EXPECT_TRUE(Certificate::allOfPEM("").empty());
  EXPECT_TRUE(Certificate::allOfPEM(firstKey).empty());
  EXPECT_TRUE(Certificate::allOfPEM("-----BEGIN CERTIFICATE-----\n").empty());
}

}  // namespace
}  // namespace platform
