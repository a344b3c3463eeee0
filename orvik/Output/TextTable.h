#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "orvik/Output/Paint.h"

namespace orvik::host {

/// A table for people: each column as wide as its widest cell on a terminal, two blanks apart, nothing behind
/// the last cell of a line. Cells and remarks may come from elsewhere: they are made safe for a terminal.
class TextTable {
 public:
  enum class Align { left, right };
  struct Column {
    std::string heading;
    Align align = Align::left;
  };

  explicit TextTable(std::vector<Column> columns) : columns_(std::move(columns)) {}

  /// Cells that are left out are empty. Cells of more than 60 characters are cut.
  void add(std::vector<std::string> cells);
  /// A line below the last row that keeps to no column, of any length.
  void remark(const std::string& text, Paint::Ink ink);

  /// With the headings on top; not one of them when there is no row.
  std::vector<std::string> lines(const Paint& paint) const;

 private:
  struct Line {
    std::vector<std::string> cells;  ///< one for each column
    std::string remark;              ///< in place of cells
    Paint::Ink ink = Paint::Ink::strong;
  };

  std::string aligned(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) const;

  std::vector<Column> columns_;
  std::vector<Line> lines_;
};

}  // namespace orvik::host
