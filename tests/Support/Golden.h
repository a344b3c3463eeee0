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

/// Holds a text against the file tests/golden/`name`, byte for byte. With ORVIK_ACCEPT_GOLDEN=1 the file is
/// written instead, and the test skipped.
inline void expectGoldenText(const std::string& name, std::string_view text) {
  const auto path = goldenPath(name);
  if (acceptsGolden()) {
    platform::files::createDirectories(path.parent_path());
    platform::files::atomicWrite(text, path);
    GTEST_SKIP() << "wrote " << path;
  }
  EXPECT_EQ(text, platform::files::read(path)) << path;
}

enum class GoldenForm { document, line };

/// The same of a record and tests/golden/`name`.json, which must also decode to that record.
template <class Record>
void expectGolden(const std::string& name, const Record& record, GoldenForm form = GoldenForm::document) {
  const auto text = form == GoldenForm::document ? BackupFormat::makeEncoder().encode(record)
                                                 : BackupFormat::makeLineEncoder().encode(record) + "\n";
  expectGoldenText(name + ".json", text);
  if (acceptsGolden()) return;
  const auto path = goldenPath(name + ".json");
  EXPECT_TRUE(BackupFormat::makeDecoder().decode<Record>(platform::files::read(path)) == record)
      << "decoding " << path;
}

}  // namespace orvik::test
