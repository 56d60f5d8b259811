// The two digests that requests carry, as lowercase hexadecimal text.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace kelo {

class KELOAccessEncoderBase {
 public:
  virtual ~KELOAccessEncoderBase() = default;

  virtual uint32_t AccessEncodeSHA1(std::string_view, std::string&) { return 0; }
  virtual uint32_t AccessEncodeFileMD5(std::string_view, std::string&) { return 0; }
};

// Made for each request; cheap. One thread at a time.
class KELOAccessEncoder final : public KELOAccessEncoderBase {
 public:
  KELOAccessEncoder();

  // SHA-1 of the text up to its first zero byte, 40 characters. Always 1, deliberately: a digest
  // that could not be computed is the empty text.
  uint32_t AccessEncodeSHA1(std::string_view text, std::string& digest) override {
    return platform_->AccessEncodeSHA1(text, digest);
  }

  // MD5 of a regular file, 32 characters. 1, or 0 and the empty text for a file that cannot be
  // read to its end and for anything that is not a regular file. No command reaches it.
  uint32_t AccessEncodeFileMD5(std::string_view path, std::string& digest) override {
    return platform_->AccessEncodeFileMD5(path, digest);
  }

 private:
  std::unique_ptr<KELOAccessEncoderBase> platform_;
};

}  // namespace kelo
