#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Security/SecretError.h"
#include "OrvikCore/Store/BackupRepository.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "tests/Support/Folders.h"
#include "tests/Support/SampleRecords.h"
#include "tests/Support/TestKeys.h"

// Every byte of what is sealed, changed in every bit and in all of them: none of it is ever taken.

namespace {

using namespace orvik;
using platform::Bytes;

void forEachChange(const Bytes& bytes, const std::function<void(const Bytes&, std::size_t)>& look) {
  auto changed = bytes;
  for (std::size_t at = 0; at < bytes.size(); ++at) {
    for (const int mask : {1, 2, 4, 8, 16, 32, 64, 128, 255}) {
      changed[at] = static_cast<char>(bytes[at] ^ mask);
      look(changed, at);
    }
    changed[at] = bytes[at];
  }
}

TEST(Tampering, AChangedSealedObjectIsNeverIntact) {
  const platform::files::TempFolder folder;
  const ObjectStore store{folder.path(), {}, test::cipherOf()};
  const auto name = store.put(R"({"id":1,"name":"Lab Macs","scope":{"all":true}})");
  const auto sealed = store.stored(name);
  ASSERT_TRUE(store.isIntact(name, sealed));
  std::size_t looks = 0;
  forEachChange(sealed, [&](const Bytes& changed, std::size_t at) {
    ++looks;
    EXPECT_FALSE(store.isIntact(name, changed)) << at;
    if (at < BackupCipher::magic.size())
      EXPECT_EQ(store.cipher->open(changed), changed) << "without the magic they are plain bytes";
    else
      EXPECT_THROW(store.cipher->open(changed), BackupEncryptionError) << at;
  });
  EXPECT_EQ(looks, sealed.size() * 9);
  for (std::size_t length = 0; length < sealed.size(); ++length)
    EXPECT_FALSE(store.isIntact(name, std::string_view(sealed).substr(0, length))) << length;
}

TEST(Tampering, AGoodBlobUnderAnotherNameIsNotIntact) {
  const platform::files::TempFolder folder;
  const ObjectStore store{folder.path(), {}, test::cipherOf()};
  const auto one = store.put("[1]");
  const auto other = store.put("[2]");
  EXPECT_FALSE(store.isIntact(one, store.stored(other)));
  const auto plain = ObjectStore{folder.path(), {}, {}}.put("[1]");
  EXPECT_FALSE(store.isIntact(plain, store.stored(one))) << "a sealed blob has its hidden name only";
  EXPECT_FALSE(store.isIntact(one, store.stored(plain)));
}

TEST(Tampering, AChangedSealedIndexDoesntExist) {
  const platform::files::TempFolder folder;
  const auto cipher = test::cipherOf();
  SectionIndex index;
  index.sectionID = "scripts";
  const auto path = folder / "sections" / "scripts.json";
  BackupRepository::writeIndex(index, path, cipher);
  const auto sealed = platform::files::read(path);
  ASSERT_TRUE(BackupCipher::isSealed(sealed));
  ASSERT_EQ(BackupRepository::loadIndex(folder.path(), "scripts", cipher), index);
  EXPECT_EQ(BackupRepository::loadIndex(folder.path(), "scripts", {}), std::nullopt);
  EXPECT_EQ(BackupRepository::loadIndex(folder.path(), "scripts", test::cipherOf("other")), std::nullopt);
  forEachChange(sealed, [&](const Bytes& changed, std::size_t at) {
    test::write(path, changed);
    EXPECT_EQ(BackupRepository::loadIndex(folder.path(), "scripts", cipher), std::nullopt) << at;
  });
}

/// Has one key under every ID, so that only the seal itself can refuse a changed ID.
class AnyIDProvider final : public DecryptionKeyProvider {
 public:
  platform::Secret256 sharedSecret(const std::string&, std::string_view point) const override {
    return test::organisationKey().sharedSecret(point);
  }
  PublicKeys publicKeys() const override { return {}; }
};

TEST(Tampering, AChangedEnvelopeIsNeverOpened) {
  const AnyIDProvider anyID;
  for (const char* text : {"client secret", "client secret.", "client secret.."}) {  // each padding
    const auto value = SecretEnvelope::encrypt(text, test::organisationKey().publicKey());
    ASSERT_EQ(SecretEnvelope::decrypt(value, anyID).reveal(), text);
    forEachChange(value, [&](const Bytes& changed, std::size_t at) {
      EXPECT_THROW(SecretEnvelope::decrypt(changed, test::organisationKeys()), SecretError) << at;
      EXPECT_THROW(SecretEnvelope::decrypt(changed, anyID), SecretError) << at << " " << changed;
    });
    for (std::size_t length = 0; length < value.size(); ++length)
      EXPECT_THROW(SecretEnvelope::decrypt(std::string_view(value).substr(0, length), anyID), SecretError);
  }
}

}  // namespace
