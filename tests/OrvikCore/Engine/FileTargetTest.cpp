#include <gtest/gtest.h>

#include "OrvikCore/Engine/FileSection.h"

namespace orvik {
namespace {

TEST(FileTarget, ItsHashIsTheTypeAsGivenAndTheValueInLowerCase) {
  FileSection::Target target;
  EXPECT_EQ(target.jamfHash(), std::nullopt);
  target.hashType = "Sha_512";
  EXPECT_EQ(target.jamfHash(), std::nullopt);
  target.hashValue = "";
  EXPECT_EQ(target.jamfHash(), std::nullopt);
  target.hashValue = "AbC";
  EXPECT_EQ(target.jamfHash(), "Sha_512:abc");
  target.hashType = "";
  EXPECT_EQ(target.jamfHash(), std::nullopt);
}

TEST(FileTarget, IsTheParentsFileByHashOrElseBySize) {
  FileSection::Target target;
  FileRef parent;
  EXPECT_FALSE(FileSection::sameFile(parent, target));
  target.size = 5;
  EXPECT_FALSE(FileSection::sameFile(parent, target));
  parent.size = 5;
  EXPECT_TRUE(FileSection::sameFile(parent, target));
  target.hashType = "MD5";
  target.hashValue = "AA";
  EXPECT_FALSE(FileSection::sameFile(parent, target));
  parent.jamfHash = "MD5:aa";
  EXPECT_TRUE(FileSection::sameFile(parent, target));
  parent.jamfHash = "MD5:AA";
  EXPECT_FALSE(FileSection::sameFile(parent, target));
}

TEST(FileTarget, IsVerifiedByTheDigestOfItsType) {
  const FileHasher::Digests digests{"aa", "bb", "cc", 1};
  const auto verdict = [&](const char* type, const char* value) {
    FileSection::Target target;
    target.hashType = type;
    target.hashValue = value;
    return FileSection::verify(target, digests);
  };
  for (const auto* type : {"SHA_256", "SHA256", "sha_256"}) EXPECT_EQ(verdict(type, "AA"), true);
  for (const auto* type : {"SHA_512", "SHA512"}) EXPECT_EQ(verdict(type, "cc"), true);
  EXPECT_EQ(verdict("md5", "bb"), true);
  EXPECT_EQ(verdict("MD5", "aa"), false);
  EXPECT_EQ(verdict("MD5", "not hexadecimal"), false);
  EXPECT_EQ(verdict("SHA3_512", "aa"), std::nullopt);
  EXPECT_EQ(verdict("MD5", ""), std::nullopt);
  EXPECT_EQ(verdict("", "aa"), std::nullopt);
}

}  // namespace
}  // namespace orvik
