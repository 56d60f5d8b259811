// How a caller hears of an import while it goes on: its progress, and what it skips.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace kelo::devservice {

// Hears how an import goes. Both may be empty.
struct ImportWatcher {
  std::function<void(size_t files)> progress{};  // so many have been looked at
  std::function<void(const std::string& path, const std::string& why)> passedOver{};
};

}  // namespace kelo::devservice
