#include "OrvikCore/Security/CertificateKey.h"

#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Security/InMemoryKeyProvider.h"
#include "OrvikCore/Security/SecretEnvelope.h"
#include "OrvikCore/Security/SecretError.h"
#include "tests/Support/OpensslKeys.h"

namespace {

using namespace orvik;
using namespace orvik::test;
using platform::P256PrivateKey;

/// The sentence with which a certificate is refused; "taken" when it isn't.
std::string refusal(std::string_view data) try {
  CertificateKey::x963PublicKey(data);
  return "taken";
} catch (const SecretError& error) {
  return error.text();
}

struct Organisation {
  std::string key = newPKCS8Key();
  std::string certificate = certificateOf(key);
  platform::Bytes point = P256PrivateKey::fromPEM(key).publicKey();
};

TEST(CertificateKeyTest, ReadsPEMWithAllLineEndsAndDER) {
  const Organisation organisation;
  const auto& text = organisation.certificate;
  EXPECT_EQ(CertificateKey::x963PublicKey(text), organisation.point);
  EXPECT_EQ(CertificateKey::x963PublicKey(withCRLF(text)), organisation.point);
  EXPECT_EQ(CertificateKey::x963PublicKey(derOf(text)), organisation.point);
  EXPECT_EQ(CertificateKey::x963PublicKey(text.substr(0, text.size() - 1)), organisation.point);
  EXPECT_EQ(CertificateKey::x963PublicKey("\n\n" + text + "\r\n\n"), organisation.point);
  for (const char* end : {"\r", "\v", "\f", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
    std::string other;
    for (const char c : text) other += c == '\n' ? std::string(end) : std::string(1, c);
    EXPECT_EQ(CertificateKey::x963PublicKey(other), organisation.point);
  }
}

TEST(CertificateKeyTest, ReadsABodyInOneLongLine) {
  const Organisation organisation;
  EXPECT_EQ(CertificateKey::x963PublicKey("-----BEGIN CERTIFICATE-----\n" +
                                          platform::base64Encode(derOf(organisation.certificate)) +
                                          "\n-----END CERTIFICATE-----"),
            organisation.point);
}

TEST(CertificateKeyTest, DatesPlayNoPart) {
  const Organisation organisation;
  const platform::files::TempFolder folder;
  platform::files::atomicWrite(organisation.key, folder / "key.pem");
  platform::files::atomicWrite(organisation.certificate, folder / "certificate.pem");
  const auto ending = openssl({"x509", "-in", (folder / "certificate.pem").string(), "-signkey",
                               (folder / "key.pem").string(), "-days", "0"});
  platform::files::atomicWrite(ending, folder / "ending.pem");
  ASSERT_EQ(runProgram("openssl", {"x509", "-checkend", "2", "-in", (folder / "ending.pem").string()}).status,
            1);
  EXPECT_EQ(CertificateKey::x963PublicKey(ending), organisation.point);
}

TEST(CertificateKeyTest, AnotherCurveIsRefusedOnlyWhenItsKeyIsUsed) {
  const auto point = CertificateKey::x963PublicKey(certificateOf(newSEC1Key("secp384r1")));
  EXPECT_EQ(point.size(), 97U);
  EXPECT_EQ(SecretEnvelope::keyID(point).size(), 16U);
  EXPECT_THROW(SecretEnvelope::encrypt("text", point), platform::CryptoError);
}

TEST(CertificateKeyTest, OtherKindsOfKeysAreNone) {
  for (const auto& key :
       {newPKCS8Key({"-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:1024"}),
        newPKCS8Key({"-algorithm", "ED25519"}), newSEC1Key("secp256k1"), newSEC1Key("sect283r1")})
    EXPECT_EQ(refusal(certificateOf(key)), "certificate does not contain a P-256 key");
}

TEST(CertificateKeyTest, WhatStandsBesideTheOneCertificateMakesThePEMInvalid) {
  const Organisation organisation;
  const auto& text = organisation.certificate;
  for (const std::string& other :
       {"Subject: CN=Orvik\n" + text, text + "the end\n", std::string("-----BEGIN CERTIFICATE-----\n!\n"),
        text.substr(0, text.size() / 2) + "!", "  " + text})
    EXPECT_EQ(refusal(other), "invalid PEM certificate") << other;
}

TEST(CertificateKeyTest, SeveralBlocksAreReadAsOneAndFail) {
  const Organisation one, other;
  // Whether the joined lines are Base64 depends on the padding between them.
  for (const auto& text : {one.certificate + other.certificate, one.certificate + one.key}) {
    const auto said = refusal(text);
    EXPECT_TRUE(said == "invalid PEM certificate" || said == "invalid certificate") << said;
  }
}

TEST(CertificateKeyTest, WhatIsNoCertificateIsInvalid) {
  const Organisation organisation;
  const auto der = derOf(organisation.certificate);
  for (const platform::Bytes& data :
       {platform::Bytes(), platform::Bytes("garbage"), der + '\0', der + der, der.substr(0, der.size() - 1),
        der.substr(1), platform::Bytes("-----BEGIN CERTIFICATE-----"),
        platform::Bytes("-----BEGIN CERTIFICATE-----\n-----END CERTIFICATE-----\n"), organisation.key,
        pem("CERTIFICATE", "hello!"), "\xff" + organisation.certificate, pem("CERTIFICATE REQUEST", der)})
    EXPECT_EQ(refusal(data), "invalid certificate") << data;
}

TEST(CertificateKeyTest, ACompressedPointIsGivenUncompressed) {
  const platform::files::TempFolder folder;
  platform::files::atomicWrite(newSEC1Key(), folder / "key.pem");
  const auto compressed = openssl({"ec", "-in", (folder / "key.pem").string(), "-conv_form", "compressed"});
  EXPECT_EQ(CertificateKey::x963PublicKey(certificateOf(compressed)),
            P256PrivateKey::fromPEM(compressed).publicKey());
}

TEST(CertificateKeyTest, AKeyFileOpensWhatWasSealedForItsCertificate) {
  const Organisation organisation;
  const auto point = CertificateKey::x963PublicKey(organisation.certificate);
  const auto value = SecretEnvelope::encrypt("client secret", point);
  const InMemoryKeyProvider keys({P256PrivateKey::fromPEM(organisation.key)});
  EXPECT_EQ(keys.publicKeys().begin()->first, SecretEnvelope::keyID(point));
  EXPECT_EQ(SecretEnvelope::decrypt(value, keys).reveal(), "client secret");
}

}  // namespace
