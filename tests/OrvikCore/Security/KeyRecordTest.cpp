#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/BackupEncryption.h"
#include "Platform/Base64.h"
#include "tests/Support/Folders.h"
#include "tests/Support/OwnDataHome.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/TestKeys.h"

// How a data key is made, wrapped in "encryption.json" and found again.

namespace {

using namespace orvik;
using platform::P256PrivateKey;
using platform::files::TempFolder;
using Kind = BackupEncryptionError::Kind;

/// Counts what is asked of the keys behind it.
class CountingKeys final : public DecryptionKeyProvider {
 public:
  explicit CountingKeys(std::vector<P256PrivateKey> keys = {test::organisationKey()})
      : keys_(std::move(keys)) {}
  platform::Secret256 sharedSecret(const std::string& keyID, std::string_view point) const override {
    ++secrets;
    return keys_.sharedSecret(keyID, point);
  }
  PublicKeys publicKeys() const override {
    ++tables;
    return keys_.publicKeys();
  }
  mutable std::atomic<int> secrets = 0, tables = 0;

 private:
  InMemoryKeyProvider keys_;
};

/// A table of public keys without private ones.
class Recipients final : public DecryptionKeyProvider {
 public:
  explicit Recipients(PublicKeys table) : table_(std::move(table)) {}
  platform::Secret256 sharedSecret(const std::string&, std::string_view) const override {
    throw platform::CryptoError("none");
  }
  PublicKeys publicKeys() const override { return table_; }

 private:
  PublicKeys table_;
};

class KeyRecord : public testing::Test {
 protected:
  ~KeyRecord() override { BackupEncryption::forgetKeys(); }

  const TempFolder outer;
  const std::filesystem::path folder = outer / "instance";
  const std::filesystem::path file = folder / "encryption.json";

  /// Why `unlock` or `prepare` fails.
  template <class Work>
  static std::pair<Kind, std::vector<std::string>> failure(Work&& work) {
    try {
      work();
    } catch (const BackupEncryptionError& error) {
      return {error.kind(), error.keyIDs()};
    }
    ADD_FAILURE() << "it succeeded";
    return {};
  }

  EncryptionInfo record() const { return BackupEncryption::info(folder).value(); }

  void writeRecord(std::vector<EncryptionInfo::WrappedKey> keys) const {
    const EncryptionInfo info{1, "ORVIK-AEAD-v1", test::date("2025-03-04T09:15:00Z"), std::move(keys)};
    test::write(file, BackupFormat::makeEncoder().encode(info));
  }

  static EncryptionInfo::WrappedKey wrapped(std::string_view text) {
    return {test::organisationKeyID(), SecretEnvelope::encrypt(text, test::organisationKey().publicKey())};
  }
  static EncryptionInfo::WrappedKey wrappedDataKey() {
    return wrapped(platform::base64Encode(test::dataKey().reveal()));
  }
};

TEST_F(KeyRecord, PrepareWrapsOneDataKeyForEachRecipientInTheOrderOfTheirIDs) {
  std::vector<P256PrivateKey> keys;
  for (int i = 0; i < 8; ++i) keys.push_back(P256PrivateKey::generate());
  const auto before = std::chrono::floor<std::chrono::seconds>(platform::now());
  const auto cipher = BackupEncryption::prepare(folder, InMemoryKeyProvider(keys));

  const auto made = record();
  EXPECT_EQ(made.formatVersion, 1);
  EXPECT_EQ(made.scheme, "ORVIK-AEAD-v1");
  EXPECT_GE(made.createdAt, before);
  ASSERT_EQ(made.keys.size(), 8U);
  EXPECT_TRUE(std::ranges::is_sorted(made.keys, {}, &EncryptionInfo::WrappedKey::keyID));
  for (const auto& key : keys) {
    BackupEncryption::forgetKeys();
    EXPECT_EQ(BackupEncryption::unlock(folder, InMemoryKeyProvider({key})), cipher);
  }
  for (const auto& each : made.keys)
    EXPECT_TRUE(each.wrapped.starts_with("ORVIK-ENC:v1:" + each.keyID + ":"));
  const auto base64 = SecretEnvelope::decrypt(made.keys.front().wrapped, InMemoryKeyProvider(keys));
  EXPECT_EQ(base64.reveal().size(), 44U);
}

TEST_F(KeyRecord, TheFileIsTheCanonicalRenderingOfTheRecord) {
  BackupEncryption::prepare(folder, test::organisationKeys());
  const auto text = platform::files::read(file);
  EXPECT_EQ(text, BackupFormat::makeEncoder().encode(record()));
  EXPECT_EQ(test::contentOf(folder).size(), 1U) << "nothing else is made";
}

TEST_F(KeyRecord, APreferredKeyIsTheOnlyRecipient) {
  const auto other = P256PrivateKey::generate();
  const InMemoryKeyProvider keys({test::organisationKey(), other});
  const auto id = SecretEnvelope::keyID(other.publicKey());
  BackupEncryption::prepare(folder, keys, id);
  EXPECT_EQ(BackupEncryption::keyIDs(folder), std::vector{id});
}

TEST_F(KeyRecord, AnUnknownPreferredKeyLeavesAllRecipients) {
  const InMemoryKeyProvider keys({test::organisationKey(), P256PrivateKey::generate()});
  BackupEncryption::prepare(folder, keys, "0123456789abcdef");
  EXPECT_EQ(record().keys.size(), 2U);
}

TEST_F(KeyRecord, APreferredKeyPlaysNoPartInASealedFolder) {
  const auto cipher = BackupEncryption::prepare(folder, test::organisationKeys());
  const auto before = platform::files::read(file);
  const auto other = P256PrivateKey::generate();
  BackupEncryption::forgetKeys();
  EXPECT_EQ(BackupEncryption::prepare(folder, InMemoryKeyProvider({test::organisationKey(), other}),
                                      SecretEnvelope::keyID(other.publicKey())),
            cipher);
  EXPECT_EQ(platform::files::read(file), before);
}

TEST_F(KeyRecord, WithoutAnyKeyNothingIsWritten) {
  for (const auto& preferred : {std::optional<std::string>(), std::optional<std::string>("k")})
    EXPECT_EQ(failure([&] { BackupEncryption::prepare(folder, InMemoryKeyProvider({}), preferred); }).first,
              Kind::noOrganisationKey);
  EXPECT_FALSE(std::filesystem::exists(folder));
}

TEST_F(KeyRecord, ARecipientThatCantBeUsedLeavesTheFolderUntouched) {
  const Recipients recipients({{"a", test::organisationKey().publicKey()}, {"b", "no point"}});
  EXPECT_THROW(BackupEncryption::prepare(folder, recipients), platform::CryptoError);
  EXPECT_FALSE(std::filesystem::exists(folder));
  EXPECT_EQ(BackupEncryption::cipherFor(folder), std::nullopt);
}

TEST_F(KeyRecord, AWriteThatFailsPassesThroughAndLeavesNothingUnlocked) {
  std::filesystem::create_directories(file);  // a folder where the record should be
  EXPECT_THROW(BackupEncryption::prepare(folder, test::organisationKeys()), platform::files::FileError);
  EXPECT_EQ(BackupEncryption::cipherFor(folder), std::nullopt);
  test::write(outer / "plain", "");
  EXPECT_THROW(BackupEncryption::prepare(outer / "plain" / "x", test::organisationKeys()),
               platform::files::FileError);
  EXPECT_EQ(BackupEncryption::cipherFor(outer / "plain" / "x"), std::nullopt);
}

TEST_F(KeyRecord, ASealedFolderWithoutItsKeysStaysLockedAndKeepsItsRecord) {
  BackupEncryption::prepare(folder, test::organisationKeys());
  BackupEncryption::forgetKeys();
  const auto before = platform::files::read(file);
  const CountingKeys others({P256PrivateKey::generate()});
  EXPECT_EQ(failure([&] { BackupEncryption::prepare(folder, others); }),
            std::pair(Kind::locked, std::vector{test::organisationKeyID()}));
  EXPECT_EQ(others.tables, 0);
  EXPECT_EQ(platform::files::read(file), before);
  EXPECT_EQ(BackupEncryption::cipherFor(folder), std::nullopt);
}

TEST_F(KeyRecord, ADamagedRecordIsReplacedByANewDataKey) {
  const auto old = BackupEncryption::prepare(folder, test::organisationKeys());
  test::write(file, platform::files::read(file) + "x");
  const auto cipher = BackupEncryption::prepare(folder, test::organisationKeys());
  EXPECT_FALSE(cipher == old);
  EXPECT_EQ(BackupEncryption::cipherFor(folder), cipher);
  BackupEncryption::forgetKeys();
  EXPECT_EQ(BackupEncryption::unlock(folder, test::organisationKeys()), cipher);
}

TEST_F(KeyRecord, UnlockOfAFolderWithoutAReadableRecordIsDamaged) {
  const auto said = [&] {
    try {
      BackupEncryption::unlock(folder, test::organisationKeys());
    } catch (const BackupEncryptionError& error) {
      EXPECT_EQ(error.kind(), Kind::damaged);
      return error.description();
    }
    return std::string("it was unlocked");
  };
  const std::string missing = "Encrypted data is damaged or was changed: encryption.json missing";
  EXPECT_EQ(said(), missing);
  test::write(file, "{}");
  EXPECT_EQ(said(), missing);
}

TEST_F(KeyRecord, EveryFieldIsRequiredAndHasItsType) {
  writeRecord({wrappedDataKey()});
  const auto text = platform::files::read(file);
  for (const char* key : {"formatVersion", "scheme", "createdAt", "keys", "keyID", "wrapped"}) {
    auto changed = text;
    changed.replace(changed.find('"' + std::string(key) + '"') + 1, 1, "X");
    test::write(file, changed);
    EXPECT_FALSE(BackupEncryption::isEncrypted(folder)) << key;
  }
  for (const auto& [from, to] : {std::pair{"\"formatVersion\" : 1", "\"formatVersion\" : \"1\""},
                                 {"\"formatVersion\" : 1", "\"formatVersion\" : 1.5"},
                                 {"\"formatVersion\" : 1", "\"formatVersion\" : null"},
                                 {"2025-03-04T", "4 March "},
                                 {"\"ORVIK-AEAD-v1\"", "true"}}) {
    auto changed = text;
    ASSERT_NE(changed.find(from), std::string::npos) << from;
    changed.replace(changed.find(from), std::string_view(from).size(), to);
    test::write(file, changed);
    EXPECT_FALSE(BackupEncryption::isEncrypted(folder)) << to;
  }
  auto unknown = text;
  unknown.insert(1, "\"later\" : [],");
  test::write(file, unknown);
  EXPECT_TRUE(BackupEncryption::isEncrypted(folder)) << "unknown keys are ignored";
}

TEST_F(KeyRecord, EntriesThatDontHold32BytesAreSkipped) {
  const std::string base64 = platform::base64Encode(test::dataKey().reveal());
  const auto id = test::organisationKeyID();
  std::vector<EncryptionInfo::WrappedKey> keys{
      {"", ""},
      {id, "junk"},
      {id, "ORVIK-ENC:v1:" + id + ":"},
      {id, SecretEnvelope::encrypt(base64, P256PrivateKey::generate().publicKey())},
      wrapped(""),
      wrapped("not Base64"),
      wrapped(platform::base64Encode(std::string(31, 'x'))),
      wrapped(platform::base64Encode(std::string(33, 'x'))),
      wrapped(platform::base64Encode(std::string(48, 'x'))),
      wrapped(base64.substr(0, 43)),
      wrapped(base64 + "\n"),
      wrapped(" " + base64),
  };
  writeRecord(keys);
  const auto ids = BackupEncryption::keyIDs(folder);
  ASSERT_EQ(ids.size(), keys.size());
  EXPECT_EQ(failure([&] { BackupEncryption::unlock(folder, test::organisationKeys()); }),
            std::pair(Kind::locked, ids));
  keys.push_back(wrappedDataKey());
  writeRecord(keys);
  EXPECT_EQ(BackupEncryption::unlock(folder, test::organisationKeys()), test::cipherOf());
}

TEST_F(KeyRecord, TheFirstEntryThatOpensCounts) {
  writeRecord({wrappedDataKey(), wrapped(platform::base64Encode(test::dataKey("other").reveal()))});
  const CountingKeys keys;
  EXPECT_EQ(BackupEncryption::unlock(folder, keys), test::cipherOf());
  EXPECT_EQ(keys.secrets, 1);
}

TEST_F(KeyRecord, TheIDsOfALockedFolderStandInTheOrderOfTheFile) {
  writeRecord({{"z", "w"}, {"a", "w"}, {"z", "w"}, {"m", "w"}});
  EXPECT_EQ(failure([&] { BackupEncryption::unlock(folder, test::organisationKeys()); }),
            std::pair(Kind::locked, std::vector<std::string>{"z", "a", "z", "m"}));
}

TEST_F(KeyRecord, ARecordWithoutEntriesIsLockedForEver) {
  writeRecord({});
  EXPECT_TRUE(BackupEncryption::isEncrypted(folder));
  EXPECT_EQ(failure([&] { BackupEncryption::prepare(folder, test::organisationKeys()); }),
            std::pair(Kind::locked, std::vector<std::string>()));
}

TEST_F(KeyRecord, TenThousandRecipientsAreReadAndTheLastOneOpens) {
  const auto foreign = SecretEnvelope::encrypt("x", P256PrivateKey::generate().publicKey());
  std::vector<EncryptionInfo::WrappedKey> keys;
  for (int i = 0; i < 10'000; ++i) {
    std::string id = std::to_string(i);
    id.insert(0, 16 - id.size(), '0');
    keys.push_back({id, "ORVIK-ENC:v1:" + id + foreign.substr(29)});
  }
  keys.push_back(wrappedDataKey());
  writeRecord(keys);
  ASSERT_GT(std::filesystem::file_size(file), BackupFormat::recordLimit);
  EXPECT_EQ(BackupEncryption::unlock(folder, test::organisationKeys()), test::cipherOf());
  EXPECT_EQ(BackupEncryption::keyIDs(folder).size(), 10'001U);
}

TEST_F(KeyRecord, AFolderThatIsUnlockedDoesntAskTheProvider) {
  const auto cipher = BackupEncryption::prepare(folder, test::organisationKeys());
  const CountingKeys keys;
  EXPECT_EQ(BackupEncryption::unlock(folder, keys), cipher);
  EXPECT_EQ(BackupEncryption::prepare(folder, keys), cipher);
  std::filesystem::remove(file);
  EXPECT_EQ(BackupEncryption::unlock(folder, keys), cipher);
  EXPECT_EQ(BackupEncryption::cipherFor(folder), cipher);
  EXPECT_EQ(keys.secrets + keys.tables, 0);

  BackupEncryption::forgetKeys();
  EXPECT_EQ(BackupEncryption::cipherFor(folder), std::nullopt);
}

TEST_F(KeyRecord, AfterForgetKeysTheProviderIsAskedAgain) {
  BackupEncryption::prepare(folder, test::organisationKeys());
  BackupEncryption::forgetKeys();
  const CountingKeys keys;
  BackupEncryption::unlock(folder, keys);
  EXPECT_EQ(keys.secrets, 1);
  EXPECT_EQ(keys.tables, 0);
}

TEST_F(KeyRecord, TwoFoldersHaveTheirOwnKeys) {
  const auto one = BackupEncryption::prepare(folder, test::organisationKeys());
  const auto other = BackupEncryption::prepare(outer / "other", test::organisationKeys());
  EXPECT_FALSE(one == other);
  EXPECT_EQ(BackupEncryption::cipherFor(folder), one);
  EXPECT_EQ(BackupEncryption::cipherFor(outer / "other"), other);
}

TEST_F(KeyRecord, ThreadsThatUnlockAtOnceGetTheSameKeys) {
  const auto cipher = BackupEncryption::prepare(folder, test::organisationKeys());
  for (int round = 0; round < 20; ++round) {
    BackupEncryption::forgetKeys();
    std::atomic<int> same = 0;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 4; ++thread)
      threads.emplace_back([&] {
        if (BackupEncryption::unlock(folder, test::organisationKeys()) == cipher) ++same;
      });
    threads.clear();
    EXPECT_EQ(same, 4);
  }
}

TEST_F(KeyRecord, APathThatCantBeMadeAbsoluteIsNoCrash) {
  EXPECT_EQ(BackupEncryption::cipherFor(""), std::nullopt);
  EXPECT_EQ(failure([] { BackupEncryption::unlock("", test::organisationKeys()); }).first, Kind::damaged);
}

}  // namespace
