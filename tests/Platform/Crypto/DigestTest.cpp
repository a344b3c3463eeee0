#include "Platform/Crypto/Digest.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <random>
#include <set>
#include <thread>
#include <vector>

#include "Platform/Files/Files.h"
#include "Platform/Hex.h"

namespace platform {
namespace {

std::string hex(DigestAlgorithm algorithm, std::string_view bytes) {
  return hexEncode(digest(algorithm, bytes));
}

std::string output(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string text;
  std::array<char, 512> piece;
  while (pipe && fgets(piece.data(), piece.size(), pipe.get()) != nullptr) text += piece.data();
  return text;
}

// FIPS 180-4 example computations (the standard's companion document), messages of 0, 24 and 448 bits.
TEST(DigestTest, SHA256MatchesThePublishedExamples) {
  EXPECT_EQ(sha256Hex(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(sha256Hex("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
  EXPECT_EQ(sha256Hex("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
  EXPECT_EQ(sha256Hex(std::string(1'000'000, 'a')),
            "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");
}

TEST(DigestTest, SHA512MatchesThePublishedExamples) {
  EXPECT_EQ(hex(DigestAlgorithm::sha512, ""),
            "cf83e1357eefb8bdf1542850d66d8007d620e4050b5715dc83f4a921d36ce9ce"
            "47d0d13c5d85f2b0ff8318d2877eec2f63b931bd47417a81a538327af927da3e");
  EXPECT_EQ(hex(DigestAlgorithm::sha512, "abc"),
            "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a"
            "2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f");
}

// FIPS 180-4 example computations, messages of 24 and 448 bits; RFC 3174, section 7.3, a million times "a".
TEST(DigestTest, SHA1MatchesThePublishedExamples) {
  EXPECT_EQ(hex(DigestAlgorithm::sha1, "abc"), "a9993e364706816aba3e25717850c26c9cd0d89d");
  EXPECT_EQ(hex(DigestAlgorithm::sha1, "abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"),
            "84983e441c3bd26ebaae4aa1f95129e5e54670f1");
  EXPECT_EQ(hex(DigestAlgorithm::sha1, std::string(1'000'000, 'a')),
            "34aa973cd4c4daa4f61eeb2bdbad27316534016f");
}

// RFC 1321, appendix A.5.
TEST(DigestTest, MD5MatchesThePublishedTestSuite) {
  EXPECT_EQ(hex(DigestAlgorithm::md5, ""), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(hex(DigestAlgorithm::md5, "a"), "0cc175b9c0f1b6a831c399e269772661");
  EXPECT_EQ(hex(DigestAlgorithm::md5, "message digest"), "f96b697d7cb7938d525a2f31aaf161d0");
  EXPECT_EQ(hex(DigestAlgorithm::md5,
                "12345678901234567890123456789012345678901234567890123456789012345678901234567890"),
            "57edf4a22be3c955ac49da2e2107b67a");
}

TEST(DigestTest, RandomCutsDoNotMatterAndAgreeWithTheOpensslCommand) {
  const unsigned seed = std::random_device()();
  std::mt19937 random(seed);
  const files::TempFolder folder;
  const Bytes content = randomBytes(300'001);
  files::atomicWrite(content, folder / "data");
  const std::vector<std::pair<DigestAlgorithm, std::string>> algorithms = {
      {DigestAlgorithm::sha256, "sha256"},
      {DigestAlgorithm::sha512, "sha512"},
      {DigestAlgorithm::sha1, "sha1"},
      {DigestAlgorithm::md5, "md5"}};
  for (const auto& [algorithm, name] : algorithms) {
    Digest streaming(algorithm);
    for (std::string_view rest = content; !rest.empty();) {
      const std::size_t cut = std::min<std::size_t>(rest.size(), random() % 5000);
      streaming.update(rest.substr(0, cut));
      rest.remove_prefix(cut);
    }
    const std::string computed = hexEncode(streaming.finish());
    EXPECT_EQ(computed, hex(algorithm, content)) << "seed " << seed;
    const auto command = "openssl dgst -r -" + name + " '" + (folder / "data").native() + "'";
    EXPECT_EQ(output(command).substr(0, computed.size()), computed) << name;
  }
}

TEST(DigestTest, FinishStartsAfresh) {
  Digest digest(DigestAlgorithm::sha256);
  digest.update("something else");
  digest.finish();
  digest.update("abc");
  EXPECT_EQ(hexEncode(digest.finish()), sha256Hex("abc"));
  EXPECT_EQ(hexEncode(digest.finish()), sha256Hex(""));
}

TEST(DigestTest, AMovedDigestGoesOnWhereItWas) {
  Digest first(DigestAlgorithm::sha256);
  first.update("ab");
  Digest second(std::move(first));
  second.update("c");
  EXPECT_EQ(hexEncode(second.finish()), sha256Hex("abc"));
}

TEST(DigestTest, ThreadsDoNotDisturbEachOther) {
  std::array<std::string, 4> results;
  {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < results.size(); ++i)
      threads.emplace_back([&results, i] {
        for (int round = 0; round < 200; ++round) results[i] = sha256Hex(std::string(1000 + i, 'x'));
      });
  }
  for (std::size_t i = 0; i < results.size(); ++i)
    EXPECT_EQ(results[i], sha256Hex(std::string(1000 + i, 'x')));
}

TEST(DigestTest, RandomBytesComeInTheAskedNumberAndDiffer) {
  EXPECT_EQ(randomBytes(0), "");
  EXPECT_EQ(randomBytes(100'000).size(), 100'000U);
  std::set<Bytes> seen;
  for (int i = 0; i < 100; ++i) seen.insert(randomBytes(16));
  EXPECT_EQ(seen.size(), 100U);
}

}  // namespace
}  // namespace platform
