// Characters have the width that the C library gives them, so that kelo is not measured by itself.
#include "Screen.h"

#include <clocale>
#include <cwchar>
#include <stdexcept>

namespace kelo::host::testing {

void Screen::Put(std::string_view character, std::size_t width) {
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

void Screen::Down() {
  if (++row_ == rows_.size()) rows_.emplace_back();
}

void Screen::Show(std::string_view written) {
  constexpr std::string_view kClear = "\x1b[J";
  if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) throw std::runtime_error("no UTF-8 locale");
  while (!written.empty()) {
    wchar_t wide = 0;
    std::mbstate_t state{};
    std::size_t size = std::mbrtowc(&wide, written.data(), written.size(), &state);
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
      Put(written.substr(0, size), static_cast<std::size_t>(width));
    }
    written.remove_prefix(size);
  }
}

std::vector<std::string> Screen::Lines() const {
  std::vector<std::string> lines;
  bool continues = false;
  for (const Row& row : rows_) {
    if (!continues) lines.emplace_back();
    for (const std::string& cell : row.cells) lines.back().append(cell);
    continues = row.continued;
  }
  while (!lines.empty() && lines.back().empty()) lines.pop_back();
  return lines;
}

}  // namespace kelo::host::testing
