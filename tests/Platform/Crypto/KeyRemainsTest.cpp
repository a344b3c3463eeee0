#include <gtest/gtest.h>

#include <array>
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "Platform/Base64.h"
#include "Platform/Crypto/Digest.h"
#include "Platform/Crypto/KeyedHash.h"
#include "Platform/Crypto/P256.h"
#include "Platform/Hex.h"
#include "Platform/SecretString.h"

// Whether a key that is gone is still somewhere in this process: all writable memory is searched for its
// bytes. The pattern itself is kept masked, so that the search doesn't find its own copy.

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORVIK_OWN_MEMORY 0  // a sanitizer's shadow is far too large to be searched
#else
#define ORVIK_OWN_MEMORY 1
#endif

namespace platform {
namespace {

constexpr char mask = '\x5a';
using Masked = std::array<char, Secret256::size>;

struct Region {
  const char* begin;
  const char* end;
};

/// The memory that this process can write.
std::vector<Region> writableMemory() {
  std::vector<Region> regions;
  regions.reserve(4096);
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> maps(std::fopen("/proc/self/maps", "r"), std::fclose);
  std::array<char, 1024> line;
  while (maps && std::fgets(line.data(), line.size(), maps.get()) != nullptr) {
    std::uintptr_t begin = 0, end = 0;
    std::array<char, 8> rights{};
    if (std::sscanf(line.data(), "%" SCNxPTR "-%" SCNxPTR " %7s", &begin, &end, rights.data()) == 3 &&
        rights[0] == 'r' && rights[1] == 'w')
      regions.push_back({reinterpret_cast<const char*>(begin), reinterpret_cast<const char*>(end)});
  }
  return regions;
}

bool isAt(const char* place, const Masked& masked) {
  for (std::size_t i = 0; i < masked.size(); ++i)
    if ((place[i] ^ mask) != masked[i]) return false;
  return true;
}

/// How often the key is in memory, as its bytes or as a number of this machine.
int found(const Masked& masked) {
  Masked reversed;
  for (std::size_t i = 0; i < masked.size(); ++i) reversed[i] = masked[masked.size() - 1 - i];
  int count = 0;
  for (const auto& region : writableMemory())
    for (const char* place = region.begin; region.end - place >= std::ssize(masked); ++place)
      if (isAt(place, masked) || isAt(place, reversed)) ++count;
  return count;
}

Masked newMaskedKey() {
  Masked masked;
  fillRandomly(masked);
  masked[0] = mask;  // the scalar begins with a zero byte, so it is below the order of the group
  return masked;
}

/// A PEM text with the key; every string on the way is wiped.
SecretString pemOf(const char* label, const char* headHex, const char* tailHex, const Masked& masked) {
  std::string der = hexDecode(headHex).value();
  der.reserve(200);
  for (const char byte : masked) der += static_cast<char>(byte ^ mask);
  der += hexDecode(tailHex).value();
  const SecretString kept(std::move(der));
  const SecretString base64(base64Encode(kept.reveal()));
  std::string text;
  text.reserve(400);
  text.append("-----BEGIN ").append(label).append("-----\n").append(base64.reveal());
  text.append("\n-----END ").append(label).append("-----\n");
  return SecretString(std::move(text));
}

[[gnu::noinline]] void useKeyOf(const SecretString& pem, const Masked& masked) {
  const auto key = P256PrivateKey::fromPEM(pem.reveal());
  const auto peer = P256PrivateKey::generate();
  EXPECT_EQ(key.sharedSecret(peer.publicKey()), peer.sharedSecret(key.publicKey()));
  EXPECT_GE(found(masked), 1) << "the search finds a key that is in use";
}

TEST(KeyRemainsTest, APrivateKeyOfAFileIsNowhereOnceItIsGone) {
  if (!ORVIK_OWN_MEMORY) GTEST_SKIP() << "a sanitizer's memory can't be searched";
  const struct {
    const char *label, *head, *tail;
  } forms[]{
      {"EC PRIVATE KEY", "30310201010420", "a00a06082a8648ce3d030107"},
      {"PRIVATE KEY", "3041020100301306072a8648ce3d020106082a8648ce3d030107042730250201010420", ""},
  };
  for (const auto& form : forms) {
    const auto masked = newMaskedKey();
    useKeyOf(pemOf(form.label, form.head, form.tail, masked), masked);
    EXPECT_EQ(found(masked), 0) << form.label;
  }
}

[[gnu::noinline]] void deriveFrom(const Masked& masked) {
  std::string bytes;
  bytes.reserve(64);
  for (const char byte : masked) bytes += static_cast<char>(byte ^ mask);
  const SecretString kept(std::move(bytes));
  const auto key = Secret256::copyOf(kept.reveal()).value();
  EXPECT_EQ(deriveKey(key, {}, "info"), deriveKey(key, {}, "info"));
  EXPECT_EQ(HMACSHA256(key)("text"), HMACSHA256(key)("text"));
  EXPECT_GE(found(masked), 1);
}

TEST(KeyRemainsTest, AKeyThatOthersWereDerivedFromIsNowhereOnceItIsGone) {
  if (!ORVIK_OWN_MEMORY) GTEST_SKIP() << "a sanitizer's memory can't be searched";
  const auto masked = newMaskedKey();
  deriveFrom(masked);
  EXPECT_EQ(found(masked), 0);
}

}  // namespace
}  // namespace platform
