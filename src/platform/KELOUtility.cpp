// Reads a small file whole, and asks the system's clock.
#include "platform/KELOUtility.h"

#include <chrono>
#include <limits>
#include <string>

#include "platform/CAutoreleasePool.h"
#include "platform/FileStream.h"

namespace kelo {
namespace {

// The platform's utility object.
class MacKELOUtility {
 public:
  std::unique_ptr<uint8_t[]> utilityFuncReadLocalTextFile(std::string_view path, uint32_t& size) {
    uint64_t fileSize = 0;
    int error = 0;
    const FileDescriptor file = OpenRegularFileForReading(std::string(path), fileSize, error);
    if (!file || fileSize > std::numeric_limits<uint32_t>::max()) return nullptr;
    const auto length = static_cast<size_t>(fileSize);
    auto bytes = std::make_unique_for_overwrite<uint8_t[]>(length);
    const size_t got = ReadFull(file.Get(), bytes.get(), length, error);
    if (error != 0) return nullptr;
    size = static_cast<uint32_t>(got);
    return bytes;
  }

  double utilityFuncGetTimeIntervalSinceReferenceDate() {
    using namespace std::chrono;
    constexpr sys_days kReferenceDate = 2001y / January / 1;
    return duration<double>(system_clock::now() - kReferenceDate).count();
  }
};

class KELOUtilityMac final : public KELOUtilityBase {
 public:
  std::unique_ptr<uint8_t[]> ReadLocalTextFile(std::string_view path, uint32_t& size) override {
    const CAutoreleasePool pool;
    size = 0;
    return path.empty() ? nullptr : utility_.utilityFuncReadLocalTextFile(path, size);
  }

 private:
  MacKELOUtility utility_;
};

}  // namespace

KELOUtility::KELOUtility() : platform_(std::make_unique<KELOUtilityMac>()) {}

double GetTimeIntervalSinceReferenceDate() {
  const CAutoreleasePool pool;
  return MacKELOUtility().utilityFuncGetTimeIntervalSinceReferenceDate();
}

}  // namespace kelo
