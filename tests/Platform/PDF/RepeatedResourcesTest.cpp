#include "Platform/PDF/RepeatedResources.h"

#include <gtest/gtest.h>

namespace platform::pdf {
namespace {

std::string blanked(std::string document) {
  blankRepeatedResources(document);
  return document;
}

TEST(RepeatedResourcesTest, TheFirstOfEachStays) {
  EXPECT_EQ(blanked("<<\n   /XObject << /x30 30 0 R /x30 30 0 R /x4 4 0 R /x30 30 0 R >>\n>>"),
            "<<\n   /XObject << /x30 30 0 R             /x4 4 0 R             >>\n>>");
}

TEST(RepeatedResourcesTest, TablesOfTwoPagesAreTwo) {
  const std::string two = "\n   /XObject << /x1 1 0 R >>\n >>\n   /XObject << /x1 1 0 R >>\n";
  EXPECT_EQ(blanked(two), two);
}

TEST(RepeatedResourcesTest, WhatLooksAnotherWayIsLeftAlone) {
  for (const std::string text : {"", "\n   /XObject <<", "\n   /XObject << /x1 1 0 R /x1 1 0 R",
                                 "\n   /XObject << >>\n", "\n   /XObject << /y1 1 0 R /y1 1 0 R >>\n",
                                 "\n   /XObject << /x1 /x1 >>\n", "/XObject << /x1 1 0 R /x1 1 0 R >>\n"})
    EXPECT_EQ(blanked(text), text);
}

}  // namespace
}  // namespace platform::pdf
