#include "Platform/SecretString.h"

#include <gtest/gtest.h>

#include <ostream>
#include <type_traits>
#include <utility>

namespace platform {
namespace {

template <class T>
concept Streamable = requires(std::ostream& out, const T& value) {
  out << value;
};

static_assert(!std::is_copy_constructible_v<SecretString>);
static_assert(!std::is_copy_assignable_v<SecretString>);
static_assert(std::is_nothrow_move_constructible_v<SecretString>);
static_assert(!std::is_convertible_v<std::string, SecretString>);
static_assert(!std::is_convertible_v<SecretString, std::string>);
static_assert(!std::is_convertible_v<SecretString, std::string_view>);
static_assert(!Streamable<SecretString>);

std::string_view objectBytes(const SecretString& secret) {
  return {reinterpret_cast<const char*>(&secret), sizeof secret};
}

TEST(SecretStringTest, RevealsWhatItHolds) {
  EXPECT_EQ(SecretString("s3cret").reveal(), "s3cret");
  EXPECT_FALSE(SecretString("s3cret").empty());
  EXPECT_TRUE(SecretString().empty());
}

TEST(SecretStringTest, TakesATextAndWipesWhereItWas) {
  std::string text = "s3cret";  // short: its bytes lie in the object itself
  const SecretString secret(std::move(text));
  EXPECT_EQ(secret.reveal(), "s3cret");
  const std::string_view place(reinterpret_cast<const char*>(&text), sizeof text);
  EXPECT_EQ(place.find("3cret"), std::string_view::npos);
}

TEST(SecretStringTest, CopiesATextThatStaysTheCallers) {
  const std::string text = "s3cret";
  EXPECT_EQ(SecretString(text).reveal(), "s3cret");
  EXPECT_EQ(text, "s3cret");
}

TEST(SecretStringTest, AMovedFromSecretKeepsNoBytesOfAShortValue) {
  SecretString source("s3cret");
  ASSERT_NE(objectBytes(source).find("s3cret"), std::string_view::npos);
  const SecretString target(std::move(source));
  EXPECT_EQ(target.reveal(), "s3cret");
  EXPECT_EQ(objectBytes(source).find("3cret"), std::string_view::npos);
  EXPECT_TRUE(source.empty());
}

TEST(SecretStringTest, AssignmentReplacesAndWipesBothOldPlaces) {
  SecretString source("s3cret");
  SecretString target("older0");
  target = std::move(source);
  EXPECT_EQ(target.reveal(), "s3cret");
  EXPECT_EQ(objectBytes(target).find("older"), std::string_view::npos);
  EXPECT_EQ(objectBytes(source).find("3cret"), std::string_view::npos);
}

TEST(SecretStringTest, AssignmentToItselfKeepsTheValue) {
  SecretString secret(std::string(100, 'x'));
  SecretString& same = secret;
  secret = std::move(same);
  EXPECT_EQ(secret.reveal(), std::string(100, 'x'));
}

TEST(SecretStringTest, WipeClearsTheSpareCapacityToo) {
  std::string text(100, 'x');
  const char* const bytes = text.data();
  const std::size_t capacity = text.capacity();
  text.resize(3);
  wipe(text);
  EXPECT_TRUE(text.empty());
  ASSERT_EQ(text.data(), bytes);
  for (std::size_t i = 0; i < capacity; ++i) ASSERT_EQ(bytes[i], '\0') << i;
}

}  // namespace
}  // namespace platform
