#include "OrvikCore/Config/ManagedInstances.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

namespace orvik {
namespace {

using ManagedInstances::stableID;

/// SHA-256 of `text` in hexadecimal, as the openssl program computes it.
std::string opensslDigest(const std::string& text) {
  const std::string command = "printf %s '" + text + "' | openssl dgst -sha256 -r";
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::array<char, 65> digest{};
  if (!pipe || std::fread(digest.data(), 1, 64, pipe.get()) != 64) return "openssl did not answer";
  return digest.data();
}

TEST(ManagedInstances, TheIDIsTheDigestOfURLAndClientWithTheMarksOfANameBasedUUID) {
  std::string hex = opensslDigest("https://server.example|Client-1");
  ASSERT_EQ(hex.size(), 64u) << hex;
  for (char& c : hex) c = static_cast<char>(std::toupper(c));
  const std::string variants = "89AB";
  hex[12] = '5';
  hex[16] = variants[std::stoul(hex.substr(16, 1), nullptr, 16) & 3];
  const std::string expected = hex.substr(0, 8) + "-" + hex.substr(8, 4) + "-" + hex.substr(12, 4) + "-" +
                               hex.substr(16, 4) + "-" + hex.substr(20, 12);
  EXPECT_EQ(stableID("https://server.example", "Client-1").text(), expected);
}

TEST(ManagedInstances, TheCaseOfTheURLDoesNotMatter) {
  EXPECT_EQ(stableID("HTTPS://Server.Example", "c"), stableID("https://server.example", "c"));
}

TEST(ManagedInstances, AnotherClientIsAnotherInstance) {
  EXPECT_NE(stableID("https://server.example", "c"), stableID("https://server.example", "C"));
  EXPECT_NE(stableID("https://server.example", "c"), stableID("https://server.example/", "c"));
}

}  // namespace
}  // namespace orvik
