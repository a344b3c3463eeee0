#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "OrvikCore/Format/BackupFormat.h"
#include "OrvikCore/Store/ObjectStore.h"
#include "Platform/Files/Files.h"

// The worked example of docs/format.md is made here and compared with the page, so that the page can't age.

namespace {

namespace files = platform::files;
using orvik::ObjectStore;

/// The lines between the fences behind the comment `<!-- example:NAME -->`, without the last line end; empty
/// when the page has none.
std::string example(std::string_view name) {
  const auto page = files::read(std::filesystem::path(ORVIK_SOURCE_FOLDER) / "docs/format.md");
  const std::string opening = "<!-- example:" + std::string(name) + " -->\n```\n";
  const auto begin = page.find(opening);
  if (begin == std::string::npos) return {};
  const auto first = begin + opening.size();
  const auto end = page.find("\n```\n", first);
  return end == std::string::npos ? std::string() : page.substr(first, end - first);
}

/// Bytes as the page dumps them: offset, 16 bytes in hex, the printable ones as text.
std::string dump(std::string_view bytes) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string out;
  for (std::size_t offset = 0; offset < bytes.size(); offset += 16) {
    if (offset > 0) out += '\n';
    for (int shift = 20; shift >= 0; shift -= 4) out += digits[(offset >> shift) & 15];
    std::string hex;
    std::string text;
    for (const char c : bytes.substr(offset, 16)) {
      const auto byte = static_cast<unsigned char>(c);
      hex += ' ';
      hex += digits[byte >> 4];
      hex += digits[byte & 15];
      text += byte >= 0x20 && byte < 0x7f ? c : '.';
    }
    hex.resize(48, ' ');
    out += hex + "  >" + text + "<";
  }
  return out;
}

class FormatPage : public testing::Test {
 protected:
  files::TempFolder folder;
  ObjectStore store{folder.path(), {}, {}};
};

TEST_F(FormatPage, StoresTheExampleUnderTheNameThatThePageStates) {
  ASSERT_FALSE(example("sent").empty());
  const auto name = store.put(example("sent"));
  EXPECT_EQ(orvik::BackupFormat::objectPath(name).generic_string(), example("name"));
}

TEST_F(FormatPage, StoresTheBytesThatThePageDumps) {
  ASSERT_FALSE(example("stored").empty());
  const auto name = store.put(example("sent"));
  EXPECT_EQ(dump(files::read(folder.path() / example("name"))), example("stored"));
  EXPECT_TRUE(store.isIntact(name, store.stored(name)));
}

TEST_F(FormatPage, StatesHowManyBytesTheExampleHas) {
  const auto page = files::read(std::filesystem::path(ORVIK_SOURCE_FOLDER) / "docs/format.md");
  const auto stored = store.stored(store.put(example("sent")));
  EXPECT_NE(page.find("(" + std::to_string(example("sent").size()) + " bytes"), std::string::npos);
  EXPECT_NE(page.find("these " + std::to_string(stored.size()) + " bytes"), std::string::npos);
}

}  // namespace
