#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "Platform/Files/Files.h"

namespace orvik::test {

struct CommandResult {
  int status = -1;
  std::string out;
  std::string err;
};

/// Runs a program with arguments that reach it as they stand, without standard input.
inline CommandResult runProgram(const std::string& program, const std::vector<std::string>& arguments) {
  const platform::files::TempFolder folder;
  std::string line;
  const auto quote = [&](const std::string& text) {
    line += '\'';
    for (const char c : text) line += c == '\'' ? std::string("'\\''") : std::string(1, c);
    line += "' ";
  };
  quote(program);
  for (const auto& argument : arguments) quote(argument);
  line += "</dev/null >'" + (folder / "out").string() + "' 2>'" + (folder / "err").string() + "'";
  const int status = std::system(line.c_str());
  EXPECT_TRUE(WIFEXITED(status)) << line;
  return {WEXITSTATUS(status), platform::files::read(folder / "out"), platform::files::read(folder / "err")};
}

/// What a program that must succeed wrote.
inline std::string outputOf(const std::string& program, const std::vector<std::string>& arguments) {
  const auto result = runProgram(program, arguments);
  EXPECT_EQ(result.status, 0) << program << ": " << result.err << result.out;
  return result.out;
}

/// The digest of a file as the openssl program computes it; `algorithm` is "sha256", "sha512" or "md5".
inline std::string opensslDigest(const std::string& algorithm, const std::filesystem::path& path) {
  const auto result = runProgram("openssl", {"dgst", "-" + algorithm, "-r", path.string()});
  EXPECT_EQ(result.status, 0) << result.err;
  return result.out.substr(0, result.out.find(' '));
}

}  // namespace orvik::test
