#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

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

/// The memory that this process can write. It takes no memory from the heap, so that nothing that was freed
/// is overwritten by the search.
std::span<const Region> writableMemory() {
  static std::array<char, 1 << 18> text;
  static std::array<Region, 2048> regions;
  const int file = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
  std::size_t length = 0;
  for (ssize_t got; (got = read(file, text.data() + length, text.size() - 1 - length)) > 0;)
    length += static_cast<std::size_t>(got);
  close(file);
  text[length] = '\0';
  std::size_t count = 0;
  for (const char* line = text.data(); *line != '\0' && count < regions.size();) {
    char* behind = nullptr;
    const auto begin = std::strtoull(line, &behind, 16);
    const auto end = std::strtoull(behind + 1, &behind, 16);
    if (std::string_view(behind).starts_with(" rw"))
      regions[count++] = {reinterpret_cast<const char*>(begin), reinterpret_cast<const char*>(end)};
    const char* lineEnd = std::strchr(behind, '\n');
    if (lineEnd == nullptr) break;
    line = lineEnd + 1;
  }
  return {regions.data(), count};
}

/// Half a key: of what is freed, the allocator may overwrite a part.
constexpr std::size_t half = Secret256::size / 2;

bool isAt(const char* place, const char* masked) {
  for (std::size_t i = 0; i < half; ++i)
    if ((place[i] ^ mask) != masked[i]) return false;
  return true;
}

/// How often a half of the key is in memory, as its bytes or as a number of this machine.
int found(const Masked& masked) {
  Masked reversed;
  std::ranges::reverse_copy(masked, reversed.begin());
  const std::array<const char*, 4> patterns{masked.data(), masked.data() + half, reversed.data(),
                                            reversed.data() + half};
  int count = 0;
  for (const auto& region : writableMemory())
    for (const char* place = region.begin; place + half <= region.end; ++place)
      count += static_cast<int>(
          std::ranges::count_if(patterns, [place](const char* each) { return isAt(place, each); }));
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

/// Returns how often the key was in memory while it was used.
[[gnu::noinline]] int useKeyOf(const SecretString& pem, const P256PrivateKey& peer, const Masked& masked) {
  const auto key = P256PrivateKey::fromPEM(pem.reveal());
  const bool agrees = key.sharedSecret(peer.publicKey()) == peer.sharedSecret(key.publicKey());
  return agrees ? found(masked) : 0;
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
    const auto peer = P256PrivateKey::generate();
    const int whileInUse = useKeyOf(pemOf(form.label, form.head, form.tail, masked), peer, masked);
    const int afterwards = found(masked);
    EXPECT_GE(whileInUse, 1) << "the search finds a key that is in use";
    EXPECT_EQ(afterwards, 0) << form.label;
  }
}

/// Returns how often the key was in memory while it was used.
[[gnu::noinline]] int deriveFrom(const Masked& masked) {
  std::string bytes;
  bytes.reserve(64);
  for (const char byte : masked) bytes += static_cast<char>(byte ^ mask);
  const SecretString kept(std::move(bytes));
  const auto key = Secret256::copyOf(kept.reveal()).value();
  const bool isSame = deriveKey(key, {}, "info") == deriveKey(key, {}, "info");
  return isSame && HMACSHA256(key)("text").size() == Secret256::size ? found(masked) : 0;
}

TEST(KeyRemainsTest, AKeyThatOthersWereDerivedFromIsNowhereOnceItIsGone) {
  if (!ORVIK_OWN_MEMORY) GTEST_SKIP() << "a sanitizer's memory can't be searched";
  // The first call of a function of a library saves all registers on the stack: let another key be in them.
  deriveFrom(newMaskedKey());
  const auto masked = newMaskedKey();
  const int whileInUse = deriveFrom(masked);
  const int afterwards = found(masked);
  EXPECT_GE(whileInUse, 1) << "the search finds a key that is in use";
  EXPECT_EQ(afterwards, 0);
}

}  // namespace
}  // namespace platform
