// What an import tells while it goes on.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace kelo::devservice {

// Hears how an import goes. Both may be empty.
struct ImportWatcher {
  std::function<void(std::size_t files)> progress{};  // so many have been looked at
  std::function<void(const std::string& path, const std::string& why)> passedOver{};
};

}  // namespace kelo::devservice
