#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>

#include "OrvikCore/Security/BackupEncryption.h"
#include "OrvikCore/Security/SecretEnvelope.h"
#include "Platform/Base64.h"
#include "Platform/Hex.h"
#include "tests/Support/Folders.h"
#include "tests/Support/OrganisationFiles.h"
#include "tests/Support/RunningProgram.h"
#include "tests/Support/SampleFolder.h"
#include "tests/Support/ScopedVariable.h"
#include "tests/Support/TestKeys.h"
#include "tests/Support/Tool.h"

namespace {

using namespace orvik;
using test::OrganisationFiles;
using test::runTool;
using testing::HasSubstr;
using testing::StartsWith;
namespace files = platform::files;

class KeyCommands : public testing::Test {
 protected:
  ~KeyCommands() override { BackupEncryption::forgetKeys(); }

  /// The real program with a text on its standard input.
  static test::ProgramEnd runWithInput(std::vector<std::string> arguments, const std::string& input) {
    arguments.insert(arguments.begin(), ORVIK_PROGRAM_FOLDER "/orvikctl");
    test::ProgramStart start;
    start.arguments = std::move(arguments);
    start.input = input;
    test::RunningProgram program(start);
    return program.wait();
  }
  test::ToolResult encrypt(const std::string& secret) const {
    return runTool({"encrypt", "--cert", organisation.certificate.string(), secret});
  }
  test::ToolResult decrypt(const std::string& value) const {
    return runTool({"decrypt", "--key", organisation.key.string(), value});
  }

  files::TempFolder folder;
  const test::ScopedVariable data{"XDG_DATA_HOME", (folder / "data").string()};
  const OrganisationFiles organisation = OrganisationFiles::make(folder.path());
};

std::string withoutLineEnd(std::string text) {
  EXPECT_TRUE(text.ends_with('\n')) << text;
  if (!text.empty()) text.pop_back();
  return text;
}

TEST_F(KeyCommands, WhatIsEncryptedForACertificateDecryptsWithItsKey) {
  const auto value = encrypt("hush");
  EXPECT_EQ(value.status, 0) << value.err;
  EXPECT_THAT(value.out, StartsWith("ORVIK-ENC:v1:"));
  const auto text = decrypt(withoutLineEnd(value.out));
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.out, "hush\n");
}

TEST_F(KeyCommands, ASecretOfStandardInputLosesItsLineEndAndNothingElse) {
  for (const char* input : {" hush \n", " hush \r\n", " hush ", " hush \nanother line\n"}) {
    const auto value = runWithInput({"encrypt", "--cert", organisation.certificate.string()}, input);
    EXPECT_EQ(value.status, 0) << value.error;
    const auto text = runWithInput({"decrypt", "--key", organisation.key.string()}, value.output);
    EXPECT_EQ(text.output, " hush \n") << input;
  }
}

TEST_F(KeyCommands, ACarriageReturnWithoutALineFeedBelongsToTheSecret) {
  const auto value = runWithInput({"encrypt", "--cert", organisation.certificate.string()}, "hush\r");
  EXPECT_EQ(decrypt(withoutLineEnd(value.output)).out, "hush\r\n");
}

TEST_F(KeyCommands, AnEmptyArgumentIsNoneAndAnEmptyLineIsAFailure) {
  const auto cert = organisation.certificate.string();
  for (const char* input : {"", "\n", "\r\n"}) {
    const auto result = runWithInput({"encrypt", "--cert", cert, ""}, input);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.error, "orvikctl: empty secret\n");
    EXPECT_EQ(result.output, "");
  }
  EXPECT_EQ(runWithInput({"decrypt", "--key", organisation.key.string()}, "\n").error,
            "orvikctl: empty secret\n");
}

TEST_F(KeyCommands, TextThatIsNoUTF8IsRefusedInsteadOfSealedForNobody) {
  const auto result = encrypt("\xff");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.err, "orvikctl: the secret is no UTF-8 text\n");
}

TEST_F(KeyCommands, KeyInfoNamesTheKeyAsOpenSSLComputesIt) {
  const auto info = runTool({"key-info", "--cert", organisation.certificate.string()});
  EXPECT_EQ(info.status, 0) << info.err;
  test::runProgram("openssl", {"pkey", "-in", organisation.key.string(), "-pubout", "-outform", "DER", "-out",
                               (folder / "public.der").string()});
  const auto der = files::read(folder / "public.der");
  const auto point = der.substr(der.size() - 65);
  test::write(folder / "point", point);
  EXPECT_EQ(info.out, "key id:     " + test::opensslDigest("sha256", folder / "point").substr(0, 16) +
                          "\npublic key: " + platform::base64Encode(point) + "\n");
}

TEST_F(KeyCommands, AP384CertificatePassesKeyInfoAndFailsInEncrypt) {
  const auto other =
      OrganisationFiles::make(folder.path(), "p384", {"ec", "-pkeyopt", "ec_paramgen_curve:P-384"});
  const auto info = runTool({"key-info", "--cert", other.certificate.string()});
  EXPECT_EQ(info.status, 0) << info.err;
  const auto base64 = info.out.substr(info.out.find("public key: ") + 12);
  EXPECT_EQ(platform::base64Decode(withoutLineEnd(base64)).value().size(), 97U);
  const auto result = runTool({"encrypt", "--cert", other.certificate.string(), "hush"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "");
  EXPECT_THAT(result.err, StartsWith("orvikctl: This is no public key of P-256"));
}

TEST_F(KeyCommands, MissingOptionsAreNamed) {
  EXPECT_EQ(runTool({"encrypt", "hush"}).err, "orvikctl: --cert <certificate.pem> is required\n");
  EXPECT_EQ(runTool({"encrypt", "hush", "--cert"}).err, "orvikctl: --cert <certificate.pem> is required\n");
  EXPECT_EQ(runTool({"key-info"}).err, "orvikctl: --cert <certificate.pem> is required\n");
  EXPECT_EQ(runTool({"decrypt", "value"}).err, "orvikctl: --key <org.key.pem> is required\n");
}

TEST_F(KeyCommands, ACertificateThatIsNoneIsTold) {
  test::write(folder / "junk", "junk");
  test::write(folder / "junk.pem", "-----BEGIN CERTIFICATE-----\n!\n-----END CERTIFICATE-----\n");
  for (const auto* command : {"encrypt", "key-info"}) {
    const auto failure = [&](const files::Path& path) {
      const auto result = runTool({command, "--cert", path.string(), "hush"});
      EXPECT_EQ(result.status, 1);
      EXPECT_EQ(result.out, "");
      return result.err;
    };
    EXPECT_EQ(failure(folder / "junk"), "orvikctl: Encrypted secret: invalid certificate\n");
    EXPECT_EQ(failure(folder / "junk.pem"), "orvikctl: Encrypted secret: invalid PEM certificate\n");
    EXPECT_THAT(failure(folder / "none"), HasSubstr("none"));
  }
}

TEST_F(KeyCommands, DecryptTellsWhatIsWrongWithTheValueOrTheKey) {
  EXPECT_EQ(decrypt("value").err, "orvikctl: Encrypted secret: not a ORVIK-ENC value\n");
  EXPECT_EQ(decrypt("ORVIK-ENC:v1:id:AAAA").err, "orvikctl: Encrypted secret: malformed value\n");
  const auto other = OrganisationFiles::make(folder.path(), "other");
  const auto value = runTool({"encrypt", "--cert", other.certificate.string(), "hush"});
  const auto keyID = value.out.substr(SecretEnvelope::prefix.size(), 16);
  EXPECT_EQ(decrypt(withoutLineEnd(value.out)).err,
            "orvikctl: Encrypted secret: no private key for key id " + keyID + "\n");

  const auto certificateAsKey = runTool({"decrypt", "--key", organisation.certificate.string(), "value"});
  EXPECT_THAT(certificateAsKey.err, HasSubstr("org.cert.pem: There is no private key in PEM form"));
  EXPECT_THAT(runTool({"decrypt", "--key", (folder / "none").string(), "value"}).err, HasSubstr("none"));
}

TEST_F(KeyCommands, KeysAreThoseOfTheIdentitiesFolder) {
  const auto none = runTool({"keys"});
  EXPECT_EQ(none.status, 0);
  EXPECT_EQ(none.out, "No P-256 identity found. Deploy the Orvik organisation key profile.\n");

  std::filesystem::create_directories(folder / "data/orvik/identities");
  const auto identity = OrganisationFiles::make(folder / "data/orvik/identities");
  const auto info = runTool({"key-info", "--cert", identity.certificate.string()});
  const auto some = runTool({"keys"});
  EXPECT_EQ(some.status, 0);
  EXPECT_THAT(info.out, StartsWith("key id:     " + some.out));
}

class SealedFolder : public KeyCommands {
 protected:
  SealedFolder() {
    const auto cipher = BackupEncryption::prepare(sealed, InMemoryKeyProvider::fromFile(organisation.key));
    auto store = repository.store();
    store.cipher = cipher;
    index.items = {test::itemWithID("1")};
    index.items[0].objects = {{"json", store.put("[]")}};
    auto manifest = test::plainManifest("1");
    manifest.sections.push_back(test::summaryOf("s"));
    test::write(repository.backupDirectory("1") / "manifest.json",
                BackupFormat::makeEncoder().encode(manifest));
    BackupRepository::writeIndex(index, indexPath, cipher);
    BackupEncryption::forgetKeys();
  }

  const files::Path sealed = folder / "sealed";
  const BackupRepository repository{sealed};
  const files::Path indexPath = repository.backupDirectory("1") / BackupFormat::sectionPath("s");
  SectionIndex index = test::emptyIndex("s");
};

TEST_F(SealedFolder, VerifiesWithTheKeyOfAFile) {
  const auto result = runTool({"verify", sealed.string(), "--key", organisation.key.string()});
  EXPECT_EQ(result.status, 0) << result.out << result.err;
  EXPECT_EQ(result.out, "✓ 1: 1 objects and files intact\n");
}

TEST_F(SealedFolder, VerifiesWithAnIdentityOfThisMachine) {
  std::filesystem::create_directories(folder / "data/orvik/identities");
  for (const auto& path : {organisation.key, organisation.certificate})
    std::filesystem::rename(path, folder / "data/orvik/identities" / path.filename());
  EXPECT_EQ(runTool({"verify", sealed.string()}).out, "✓ 1: 1 objects and files intact\n");
}

TEST_F(SealedFolder, TheReasonWhyAKeyIsRefusedIsToldOnStandardError) {
  std::filesystem::create_directories(folder / "data/orvik/identities");
  for (const auto& path : {organisation.key, organisation.certificate})
    std::filesystem::rename(path, folder / "data/orvik/identities" / path.filename());
  ::chmod((folder / "data/orvik/identities/org.key.pem").c_str(), 0644);
  const auto result = test::runProgram(ORVIK_PROGRAM_FOLDER "/orvikctl", {"verify", sealed.string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "✗ s: index missing\n1 problem(s) in 1\n");
  EXPECT_THAT(result.err, HasSubstr("This mends it: chmod 600 "));
  EXPECT_EQ(std::ranges::count(result.err, '\n'), 1) << result.err;
}

TEST_F(SealedFolder, WithoutAKeyASealedIndexCountsAsMissing) {
  const auto result = runTool({"verify", sealed.string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out, "✗ s: index missing\n1 problem(s) in 1\n");
}

TEST_F(SealedFolder, IsListedWithoutAnyKey) {
  const auto result = runTool({"list", sealed.string()});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.out, StartsWith("1  complete"));
}

TEST_F(SealedFolder, AWrongKeyStopsTheCommandAndNamesTheRightOnes) {
  const auto other = OrganisationFiles::make(folder.path(), "other");
  const auto ids = BackupEncryption::keyIDs(sealed);
  ASSERT_EQ(ids.size(), 1U);
  for (const auto* command : {"list", "verify", "gc", "pack", "report"}) {
    const auto result = runTool({command, sealed.string(), "no such backup", "--key", other.key.string()});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "orvikctl: This backup is encrypted with the organisation key " + ids[0] +
                              ", which is not installed on this Mac. Deploy the Orvik organisation key "
                              "profile.\nPass the organisation key with --key <org.key.pem>.\n");
  }
}

TEST_F(SealedFolder, AKeyFileThatIsNoneStopsTheCommandAndSaysWhatToPass) {
  for (const auto& key : {folder / "none", organisation.certificate}) {
    const auto result = runTool({"list", sealed.string(), "--key", key.string()});
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr(key.string()));
    EXPECT_THAT(result.err, testing::EndsWith("\nPass the organisation key with --key <org.key.pem>.\n"));
  }
}

TEST_F(KeyCommands, AKeyIsIgnoredOnAPlainFolderEvenWhereItsFileDoesNotExist) {
  const test::SampleFolder sample;
  const auto result = runTool({"verify", sample.folder.path().string(), "--key", "/no/such/file"});
  EXPECT_EQ(result.status, 0) << result.err;
}

TEST_F(SealedFolder, WithoutAKeySealedObjectsBehindAPlainIndexAreCorruptAndVerifyExitsWithOne) {
  BackupRepository::writeIndex(index, indexPath, std::nullopt);
  const auto result = runTool({"verify", sealed.string()});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.out,
            "✗ s/1: object " + index.items[0].objects.at("json") + " corrupt\n1 problem(s) in 1\n");
}

}  // namespace
