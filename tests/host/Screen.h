// What a terminal shows after all that a program has written to it: as much of one as kelo uses.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace kelo::host::testing {

class Screen {
 public:
  explicit Screen(int columns) : columns_(static_cast<std::size_t>(columns)) {}

  // UTF-8, carriage returns, line ends, and clearing to the end of the screen. A character that
  // does not fit begins a new row.
  void Show(std::string_view written);

  // Without rows that are empty at the end. A text that was broken into rows is one line again.
  std::vector<std::string> Lines() const;

 private:
  struct Row {
    std::vector<std::string> cells{};  // a wide character takes one and an empty one behind it
    bool continued = false;            // goes on in the next row
  };
  void Put(std::string_view character, std::size_t width);
  void Down();

  const std::size_t columns_;
  std::vector<Row> rows_{1};
  std::size_t row_ = 0;
  std::size_t column_ = 0;
};

}  // namespace kelo::host::testing
