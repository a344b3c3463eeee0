#include "Platform/Crypto/AESGCM.h"

#include <gtest/gtest.h>

#include <atomic>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "Platform/Crypto/Digest.h"
#include "Platform/Hex.h"

namespace platform {
namespace {

Bytes fromHex(std::string_view text) { return hexDecode(text).value(); }

Secret256 keyOf(std::string_view text) { return Secret256::copyOf(fromHex(text)).value(); }

struct Vector {
  const char* name;
  std::string key, nonce, plain, additional, cipherText, tag;
};

const std::string zeroKey(64, '0');
const std::string feffKey = "feffe9928665731c6d6a8f9467308308feffe9928665731c6d6a8f9467308308";
const std::string longPlain =
    "d9313225f88406e5a55909c5aff5269a86a7a9531534f7da2e4c303d8a318a72"
    "1c3c0c95956809532fcf0e2449a6b525b16aedf5aa0de657ba637b391aafd255";
const std::string longCipherText =
    "522dc1f099567d07f47f37a32a84427d643a8cdcbfe5c0c97598a2bd2555d1aa"
    "8cb08e48590dbb3da7b08b1056828838c5f61e6393ba7a0abcc9f662898015ad";

// The algorithm's submission to NIST (McGrew and Viega, "The Galois/Counter Mode of Operation"), appendix B.
const std::vector<Vector> vectors{
    {"13", zeroKey, std::string(24, '0'), "", "", "", "530f8afbc74536b9a963b4f1c4cb738b"},
    {"14", zeroKey, std::string(24, '0'), std::string(32, '0'), "", "cea7403d4d606b6e074ec5d3baf39d18",
     "d0d1c8a799996bf0265b98b5d48ab919"},
    {"15", feffKey, "cafebabefacedbaddecaf888", longPlain, "", longCipherText,
     "b094dac5d93471bdec1a502270e3cc6c"},
    {"16", feffKey, "cafebabefacedbaddecaf888", longPlain.substr(0, 120),
     "feedfacedeadbeeffeedfacedeadbeefabaddad2", longCipherText.substr(0, 120),
     "76fc6ece0f4e1768cddf8853bb2d551b"},
};

TEST(AESGCMTest, OpensThePublishedBoxes) {
  for (const auto& vector : vectors) {
    const AESGCM cipher(keyOf(vector.key));
    Bytes plain = "what was there before";
    EXPECT_TRUE(cipher.open(fromHex(vector.nonce + vector.cipherText + vector.tag),
                            fromHex(vector.additional), plain))
        << vector.name;
    EXPECT_EQ(hexEncode(plain), vector.plain) << vector.name;
  }
}

TEST(AESGCMTest, RefusesThePublishedBoxesWithAnyBitChanged) {
  for (const auto& vector : vectors) {
    const AESGCM cipher(keyOf(vector.key));
    const auto box = fromHex(vector.nonce + vector.cipherText + vector.tag);
    for (std::size_t bit = 0; bit < 8 * box.size(); ++bit) {
      auto changed = box;
      changed[bit / 8] = static_cast<char>(changed[bit / 8] ^ (1 << bit % 8));
      Bytes plain = "x";
      EXPECT_FALSE(cipher.open(changed, fromHex(vector.additional), plain)) << vector.name << " " << bit;
      EXPECT_EQ(plain, "");
    }
  }
}

TEST(AESGCMTest, ABoxHoldsNonceCipherTextAndTagBehindWhatWasThere) {
  const AESGCM cipher(keyOf(feffKey));
  Bytes out = "front";
  cipher.seal("plain", "more", out);
  ASSERT_EQ(out.size(), 5 + AESGCM::nonceSize + 5 + AESGCM::tagSize);
  EXPECT_TRUE(out.starts_with("front"));
  Bytes plain;
  EXPECT_TRUE(cipher.open(std::string_view(out).substr(5), "more", plain));
  EXPECT_EQ(plain, "plain");
}

TEST(AESGCMTest, OpensWhatItSealedAtEveryLengthAroundItsBlocks) {
  const AESGCM cipher(keyOf(feffKey));
  for (std::size_t length = 0; length < 100; ++length) {
    const Bytes plain(length, 'p');
    const Bytes additional(length % 37, 'a');
    Bytes box, opened;
    cipher.seal(plain, additional, box);
    EXPECT_TRUE(cipher.open(box, additional, opened));
    EXPECT_EQ(opened, plain);
  }
}

TEST(AESGCMTest, AdditionalDataAndKeyBelongToTheBox) {
  const AESGCM cipher(keyOf(feffKey));
  Bytes box, plain;
  cipher.seal("plain", "more", box);
  for (const char* other : {"", "mor", "more ", "Nore"}) {
    EXPECT_FALSE(cipher.open(box, other, plain)) << other;
    EXPECT_EQ(plain, "");
  }
  EXPECT_FALSE(AESGCM(keyOf(zeroKey)).open(box, "more", plain));
}

TEST(AESGCMTest, ABoxThatIsTooShortIsRefused) {
  const AESGCM cipher(keyOf(feffKey));
  Bytes box, plain;
  cipher.seal("", "", box);
  ASSERT_EQ(box.size(), 28U);
  for (std::size_t length = 0; length < box.size(); ++length)
    EXPECT_FALSE(cipher.open(std::string_view(box).substr(0, length), "", plain)) << length;
  EXPECT_FALSE(cipher.open(box + "x", "", plain));
}

TEST(AESGCMTest, EachSealHasItsOwnNonce) {
  const AESGCM cipher(keyOf(zeroKey));
  std::set<Bytes> nonces, tags;
  for (int i = 0; i < 1000; ++i) {
    Bytes box;
    cipher.seal("same", "", box);
    nonces.insert(box.substr(0, AESGCM::nonceSize));
    tags.insert(box.substr(box.size() - AESGCM::tagSize));
  }
  EXPECT_EQ(nonces.size(), 1000U);
  EXPECT_EQ(tags.size(), 1000U);
}

TEST(AESGCMTest, ManyThreadsShareOneCipher) {
  const AESGCM cipher(keyOf(feffKey));
  std::vector<std::jthread> threads;
  std::atomic<int> good = 0;
  for (int thread = 0; thread < 4; ++thread)
    threads.emplace_back([&, thread] {
      for (int i = 0; i < 200; ++i) {
        const Bytes plain(static_cast<std::size_t>(i), static_cast<char>('a' + thread));
        Bytes box, opened;
        cipher.seal(plain, "", box);
        if (cipher.open(box, "", opened) && opened == plain) ++good;
        box.back() = static_cast<char>(box.back() ^ 1);
        if (cipher.open(box, "", opened)) --good;
      }
    });
  threads.clear();
  EXPECT_EQ(good, 800);
}

}  // namespace
}  // namespace platform
