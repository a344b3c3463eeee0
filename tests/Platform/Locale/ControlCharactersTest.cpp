#include "Platform/Locale/ControlCharacters.h"

#include <gtest/gtest.h>

namespace platform::locale {
namespace {

TEST(ControlCharacters, WhatSteersATerminalOrTheDirectionOfATextControls) {
  for (const char32_t scalar : {0x00u, 0x1Bu, 0x7Fu, 0x9Bu, 0x061Cu, 0x200Eu, 0x200Fu, 0x2028u, 0x2029u,
                                0x202Au, 0x202Eu, 0x2066u, 0x2069u})
    EXPECT_TRUE(isControl(scalar)) << std::hex << static_cast<unsigned>(scalar);
}

TEST(ControlCharacters, LettersMarksAndJoinersDoNot) {
  for (const char32_t scalar : {0x20u, 0x41u, 0xA0u, 0x0301u, 0x05D0u, 0x200Du, 0x2026u, 0x1F9D1u})
    EXPECT_FALSE(isControl(scalar)) << std::hex << static_cast<unsigned>(scalar);
}

TEST(ControlCharacters, MarksOfRightToLeftTextAreToldFromOverrides) {
  for (const char32_t scalar : {0x061Cu, 0x200Eu, 0x200Fu}) EXPECT_TRUE(isDirectionalMark(scalar));
  for (const char32_t scalar : {0x1Bu, 0x202Eu, 0x2066u, 0x200Du}) EXPECT_FALSE(isDirectionalMark(scalar));
}

}  // namespace
}  // namespace platform::locale
