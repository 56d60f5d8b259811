// Makes the two digests of requests with CDSAUtility, and hands them out as texts.
#include "platform/KELOAccessEncoder.h"

#include <array>

#include "platform/CAutoreleasePool.h"
#include "platform/CDSAUtility.h"

namespace kelo {
namespace {

using OutputBuffer = std::array<char, 512>;

class KELOAccessEncoderMac final : public KELOAccessEncoderBase {
 public:
  uint32_t AccessEncodeSHA1(std::string_view text, std::string& digest) override {
    const CAutoreleasePool pool;
    OutputBuffer buffer{};
    CDSAUtilityAccess().makeHash(text, buffer);
    digest = buffer.data();
    return 1;
  }

  uint32_t AccessEncodeFileMD5(std::string_view path, std::string& digest) override {
    const CAutoreleasePool pool;
    OutputBuffer buffer{};
    const int result = CDSAUtilityAccess().makeDigestFromFile(std::string(path), buffer);
    digest = buffer.data();
    return result == 0 ? 1 : 0;
  }
};

}  // namespace

KELOAccessEncoder::KELOAccessEncoder() : platform_(std::make_unique<KELOAccessEncoderMac>()) {}

}  // namespace kelo
