#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

#include "OrvikCore/Format/BackupFormat.h"
#include "Platform/Files/Files.h"

namespace orvik::test {

inline std::filesystem::path goldenPath(std::string_view name) {
  return std::filesystem::path(ORVIK_SOURCE_FOLDER) / "tests/golden" / name;
}

inline bool acceptsGolden() {
  const char* value = std::getenv("ORVIK_ACCEPT_GOLDEN");
  return value != nullptr && std::string_view(value) == "1";
}

enum class GoldenForm { document, line };

/// Holds a record against tests/golden/`name`.json, in both directions and byte for byte. With
/// ORVIK_ACCEPT_GOLDEN=1 the file is written instead, and the test skipped.
template <class Record>
void expectGolden(const std::string& name, const Record& record, GoldenForm form = GoldenForm::document) {
  const auto path = goldenPath(name + ".json");
  const auto text = form == GoldenForm::document ? BackupFormat::makeEncoder().encode(record)
                                                 : BackupFormat::makeLineEncoder().encode(record) + "\n";
  if (acceptsGolden()) {
    platform::files::atomicWrite(text, path);
    GTEST_SKIP() << "wrote " << path;
  }
  const auto golden = platform::files::read(path);
  EXPECT_EQ(text, golden);
  EXPECT_TRUE(BackupFormat::makeDecoder().decode<Record>(golden) == record) << "decoding " << path;
}

}  // namespace orvik::test
