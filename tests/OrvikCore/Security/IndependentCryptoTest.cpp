#include <gtest/gtest.h>

#include <string>

#include "OrvikCore/Security/CertificateKey.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Hex.h"
#include "tests/Support/Folders.h"
#include "tests/Support/OpensslKeys.h"
#include "tests/Support/TestKeys.h"

// Our sealed forms against independent-crypto.sh, which knows only the openssl program and the shell.

namespace {

using namespace orvik;
using platform::P256PrivateKey;

const std::string samples[]{"",
                            "a",
                            "client secret",
                            "Grüße 🗝️",
                            std::string("\0\xff\n% \\n'\"", 9),
                            std::string(16, 'b'),
                            std::string(47, 'c')};

class IndependentCrypto : public testing::Test {
 protected:
  test::CommandResult judge(const std::vector<std::string>& arguments) const {
    return test::runProgram(ORVIK_SOURCE_FOLDER "/tests/Support/independent-crypto.sh", arguments);
  }
  /// What the judge prints, when it succeeds.
  std::string says(const std::vector<std::string>& arguments) const {
    const auto result = judge(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  }
  std::string file(const char* name, std::string_view bytes) const {
    test::write(folder / name, bytes);
    return (folder / name).string();
  }

  const platform::files::TempFolder folder;
};

// Test case 16 of the algorithm's submission to NIST (McGrew and Viega, appendix B).
TEST_F(IndependentCrypto, TheJudgeItselfGivesThePublishedBox) {
  EXPECT_EQ(says({"gcm-seal", "feffe9928665731c6d6a8f9467308308feffe9928665731c6d6a8f9467308308",
                  "cafebabefacedbaddecaf888", "feedfacedeadbeeffeedfacedeadbeefabaddad2",
                  "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
                  "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b39"}),
            "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa"
            "8cb08e48590dbb3da7b08b1056828838c5f61e6393ba7a0abcc9f662"
            "76fc6ece0f4e1768cddf8853bb2d551b\n");
}

TEST_F(IndependentCrypto, OpensOurValues) {
  const auto pem = test::newPKCS8Key();
  const auto point = P256PrivateKey::fromPEM(pem).publicKey();
  for (const auto& text : samples) {
    const auto value = SecretEnvelope::encrypt(text, point);
    EXPECT_EQ(says({"envelope-open", file("key.pem", pem), file("value", value)}), text);
  }
}

TEST_F(IndependentCrypto, ItsValuesAreOpenedByUs) {
  const auto pem = test::newPKCS8Key();
  const InMemoryKeyProvider keys({P256PrivateKey::fromPEM(pem)});
  const auto publicKey = test::openssl({"pkey", "-pubout", "-in", file("key.pem", pem)});
  for (const std::string& text :
       {std::string(), std::string("client secret"), std::string("Grüße 🗝️")}) {
    const auto value = says({"envelope-seal", file("public.pem", publicKey), file("text", text)});
    EXPECT_TRUE(SecretEnvelope::isEnvelope(value));
    EXPECT_EQ(SecretEnvelope::decrypt(value, keys).reveal(), text);
  }
}

TEST_F(IndependentCrypto, RefusesAChangedValue) {
  const auto pem = test::newPKCS8Key();
  auto value = SecretEnvelope::encrypt("client secret", P256PrivateKey::fromPEM(pem).publicKey());
  char& digit = value[value.size() - 10];
  digit = digit == 'A' ? 'B' : 'A';
  EXPECT_EQ(judge({"envelope-open", file("key.pem", pem), file("value", value)}).status, 3);
}

TEST_F(IndependentCrypto, OpensOurSealedBlobs) {
  const auto dataKey = platform::hexEncode(test::dataKey().reveal());
  for (const auto& plain : samples)
    EXPECT_EQ(says({"blob-open", dataKey, file("sealed", test::cipherOf().seal(plain))}), plain);
}

TEST_F(IndependentCrypto, ItsBlobsAreOpenedByUs) {
  const auto dataKey = platform::hexEncode(test::dataKey().reveal());
  for (const auto& plain : samples) {
    const auto sealed = says({"blob-seal", dataKey, file("plain", plain)});
    ASSERT_TRUE(BackupCipher::isSealed(sealed));
    EXPECT_EQ(test::cipherOf().open(sealed), plain);
  }
}

TEST_F(IndependentCrypto, RefusesAChangedBlob) {
  auto sealed = test::cipherOf().seal("text");
  sealed[30] = static_cast<char>(sealed[30] ^ 1);
  EXPECT_EQ(
      judge({"blob-open", platform::hexEncode(test::dataKey().reveal()), file("sealed", sealed)}).status, 3);
}

TEST_F(IndependentCrypto, GivesOurHiddenNames) {
  const auto dataKey = platform::hexEncode(test::dataKey().reveal());
  for (const auto& plain : samples)
    EXPECT_EQ(says({"name", dataKey, file("plain", plain)}), test::cipherOf().name(plain) + "\n");
}

TEST_F(IndependentCrypto, GoesFromAnOrganisationsKeyToAnObjectOfASealedFolder) {
  const auto pem = test::newPKCS8Key();
  const auto point = CertificateKey::x963PublicKey(test::certificateOf(pem));
  const InMemoryKeyProvider keys({P256PrivateKey::fromPEM(pem)});
  const auto cipher = BackupEncryption::prepare(folder / "instance", keys);
  BackupEncryption::forgetKeys();
  const ObjectStore store{folder / "instance", {}, cipher};
  const auto name = store.put(R"({"id":7})");

  const auto record = BackupEncryption::info(folder / "instance").value();
  ASSERT_EQ(record.keys.front().keyID, SecretEnvelope::keyID(point));
  const auto base64 =
      says({"envelope-open", file("key.pem", pem), file("wrapped", record.keys.front().wrapped)});
  const auto dataKey = platform::hexEncode(platform::base64Decode(base64).value());
  const auto plain = says({"blob-open", dataKey, store.objectURL(name).string()});
  EXPECT_EQ(plain, "{\n  \"id\" : 7\n}");
  EXPECT_EQ(says({"name", dataKey, file("plain", plain)}), name + "\n");
}

}  // namespace
