#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <regex>
#include <string>
#include <string_view>
#include <vector>

#include "Platform/Files/Files.h"
#include "tests/Support/Commands.h"

namespace orvik::test {

/// A PDF document as programs of others read it.
class PDFText {
 public:
  explicit PDFText(std::string_view pdf) : path_(folder_ / "document.pdf") {
    platform::files::atomicWrite(pdf, path_);
  }

  /// A word and its box, in points from the page's upper left corner.
  struct Word {
    int page = 0;
    double left = 0;
    double top = 0;
    double right = 0;
    double bottom = 0;
    std::string text;
  };

  /// The text of all pages, laid out as on paper; a form feed ends each.
  std::string text() const { return outputOf("pdftotext", {"-layout", path_.string(), "-"}); }
  /// The text in the order in which it was drawn, with every run of blanks and line ends as one blank.
  std::string flowing() const { return oneSpaced(outputOf("pdftotext", {"-raw", path_.string(), "-"})); }
  /// The lines of one page, counted from 1.
  std::string page(int number) const {
    const auto n = std::to_string(number);
    return outputOf("pdftotext", {"-layout", "-f", n, "-l", n, path_.string(), "-"});
  }
  std::string info() const { return outputOf("pdfinfo", {path_.string()}); }
  int pages() const {
    std::smatch match;
    const auto text = info();
    return std::regex_search(text, match, std::regex("Pages: +([0-9]+)")) ? std::stoi(match[1]) : 0;
  }
  /// What an independent checker of the format has against it; empty when nothing.
  std::string faults() const {
    const auto result = runProgram("qpdf", {"--check", path_.string()});
    return result.status == 0 ? std::string() : result.out + result.err;
  }
  /// The document's objects with their streams unpacked.
  std::string unpacked() const {
    return outputOf("qpdf", {"--qdf", "--object-streams=disable", path_.string(), "-"});
  }

  std::vector<Word> words() const {
    const std::string html = outputOf("pdftotext", {"-bbox", path_.string(), "-"});
    const std::regex pattern(
        "<page |<word xMin=\"([-0-9.]+)\" yMin=\"([-0-9.]+)\" xMax=\"([-0-9.]+)\" "
        "yMax=\"([-0-9.]+)\">([^<]*)<");
    std::vector<Word> found;
    int page = 0;
    for (std::sregex_iterator it(html.begin(), html.end(), pattern), end; it != end; ++it) {
      const auto& match = *it;
      if (!match[1].matched)
        ++page;
      else
        found.push_back({page, std::stod(match[1]), std::stod(match[2]), std::stod(match[3]),
                         std::stod(match[4]), match[5]});
    }
    return found;
  }

  /// The words of the body that reach beyond the margins; page heads and footers are no part of it.
  std::vector<std::string> strays(double width = 595.28, double height = 841.89, double margin = 48) const {
    constexpr double slack = 1;  // boxes are of the font, and wider than its letters
    std::vector<std::string> found;
    for (const auto& word : words()) {
      const bool isHead = word.bottom <= 30;
      const bool isFooter = word.top >= height - margin - 14;
      if (isHead || isFooter) continue;
      if (word.left < margin - slack || word.right > width - margin + slack || word.top < margin - 4 ||
          word.bottom > height - margin - 14 + 4)
        found.push_back(word.text + " on page " + std::to_string(word.page));
    }
    return found;
  }

  static std::string oneSpaced(const std::string& text) {
    return std::regex_replace(text, std::regex("\\s+"), " ");
  }

 private:
  platform::files::TempFolder folder_;
  std::filesystem::path path_;
};

}  // namespace orvik::test
