// The header in a second translation unit: it must link, and be the same library.
#include "KELOAccess.hpp"

namespace kelo::testing {

std::string TryAnotherLibrary() try {
  const Library another;
  return "";
} catch (const Error& error) {
  return error.what();
}

}  // namespace kelo::testing
