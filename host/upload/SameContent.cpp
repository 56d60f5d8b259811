// Reading two files side by side.
#include "host/upload/SameContent.h"

#include <algorithm>
#include <array>
#include <fstream>

namespace kelo::host {

bool SameContent(const std::filesystem::path& left, const std::filesystem::path& right) {
  std::ifstream a(left, std::ios::binary);
  std::ifstream b(right, std::ios::binary);
  if (!a || !b) return false;
  std::array<char, 65536> blockA;
  std::array<char, 65536> blockB;
  for (;;) {
    a.read(blockA.data(), blockA.size());
    b.read(blockB.data(), blockB.size());
    const auto count = static_cast<std::size_t>(a.gcount());
    if (a.gcount() != b.gcount() ||
        !std::equal(blockA.begin(), blockA.begin() + count, blockB.begin()))
      return false;
    if (count < blockA.size()) return a.eof() && b.eof();
  }
}

}  // namespace kelo::host
