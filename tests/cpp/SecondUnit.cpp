// The header in a second translation unit: it must link, and be the same library.
#include "KELOAccess.hpp"

namespace kelo::testing {

std::string TryAnotherLibrary() try {
  const Library another;
  return "";
} catch (const Error& error) {
  return error.what();
}

// Functions by their names, which compilers warn of where they are asked whether they are null.
void Hear(const Progress&) {}
bool HearAndGoOn(Progress) noexcept {
  return true;
}

void CallBack(Library& library) {
  library.Download({}, Hear);
  library.Upload(kRoot, {}, {}, &HearAndGoOn);
}

}  // namespace kelo::testing
