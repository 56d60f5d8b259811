// What a terminal shows after all that a program has written to it: as much of one as kelo uses.
// Characters have the width that the C library gives them, so that kelo is not measured by itself.
#pragma once

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace kelo::host::testing {

class Screen {
 public:
  explicit Screen(int columns) : columns_(static_cast<size_t>(columns)) {}

  // UTF-8, carriage returns, line ends, and clearing to the end of the screen. A character that
  // does not fit begins a new row.
  void Show(std::string_view written) {
    constexpr std::string_view kClear = "\x1b[J";
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) throw std::runtime_error("no UTF-8 locale");
    while (!written.empty()) {
      wchar_t wide = 0;
      std::mbstate_t state{};
      size_t size = std::mbrtowc(&wide, written.data(), written.size(), &state);
      if (size > written.size()) throw std::runtime_error("not UTF-8");
      if (written.front() == '\r') {
        column_ = 0;
      } else if (written.front() == '\n') {
        Down();
      } else if (written.starts_with(kClear)) {
        rows_.resize(row_ + 1);
        rows_[row_].cells.resize(std::min(rows_[row_].cells.size(), column_));
        rows_[row_].continued = false;
        size = kClear.size();
      } else {
        const int width = ::wcwidth(wide);
        if (width < 0) throw std::runtime_error("a control character");
        Put(written.substr(0, size), static_cast<size_t>(width));
      }
      written.remove_prefix(size);
    }
  }

  // Without rows that are empty at the end. A text that was broken into rows is one line again.
  Words Lines() const {
    Words lines;
    bool continues = false;
    for (const Row& row : rows_) {
      if (!continues) lines.emplace_back();
      for (const std::string& cell : row.cells) lines.back().append(cell);
      continues = row.continued;
    }
    while (!lines.empty() && lines.back().empty()) lines.pop_back();
    return lines;
  }

 private:
  struct Row {
    Words cells{};           // a wide character takes one and an empty one behind it
    bool continued = false;  // goes on in the next row
  };
  void Put(std::string_view character, size_t width) {
    if (width == 0) {
      if (column_ > 0) rows_[row_].cells[column_ - 1].append(character);
      return;
    }
    if (column_ + width > columns_) {
      rows_[row_].continued = true;
      Down();
      column_ = 0;
    }
    auto& cells = rows_[row_].cells;
    if (cells.size() < column_ + width) cells.resize(column_ + width, " ");
    cells[column_] = character;
    if (width == 2) cells[column_ + 1].clear();
    column_ += width;
  }
  void Down() {
    if (++row_ == rows_.size()) rows_.emplace_back();
  }

  const size_t columns_;
  std::vector<Row> rows_{1};
  size_t row_ = 0;
  size_t column_ = 0;
};

}  // namespace kelo::host::testing
