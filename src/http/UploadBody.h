// The body of a multipart upload, complete before its first byte is sent: what happens to a file
// afterwards changes nothing.
//
// Below 100 MiB of files it is one buffer of the exact size, into which each file is read straight.
// From there on it is spooled to a file whose name is given up as soon as it is open, so that it is
// gone on every path, and two hosts that upload at the same time don't meet. Where its own name
// cannot be had, it takes a unique one beside it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "http/HTTPConnection.h"
#include "http/TransportCode.h"
#include "platform/FileStream.h"
#include "platform/URLLoading.h"

namespace kelo {

class UploadBody {
 public:
  // Sum of the file sizes from which the body is spooled.
  static constexpr uint64_t kSpoolThreshold = 104857600;

  // `aborted` is asked between steps of bounded length.
  UploadBody(std::string spoolPath, std::function<bool()> aborted);
  UploadBody(const UploadBody&) = delete;
  UploadBody& operator=(const UploadBody&) = delete;
  // Also removes what a host that died may have left at the spool path.
  ~UploadBody();

  // Reads everything. A transport code; 4107 for a file that cannot supply its declared size.
  TransportCode Build(std::span<const tagHTTPConnection_MultipartBody> parts);

  // The body, valid while this object lives.
  URLBody Body() const;
  const std::string& LastPath() const { return lastPath_; }
  uint64_t FileBytes() const { return FileBytesWithin(length_); }
  uint64_t FileCount() const { return files_.size(); }
  // The bytes of files among the first `length` bytes of the body.
  uint64_t FileBytesWithin(uint64_t length) const;

 private:
  struct FreeBuffer {
    void operator()(char* buffer) const;
  };
  struct PlacedFile {
    uint64_t begin;  // in the body
    uint64_t size;
  };
  TransportCode Append(std::string_view bytes);
  TransportCode AppendFile(const tagHTTPConnection_MultipartBody& part);
  bool OpenSpool();
  FileDescriptor OpenPart(const tagHTTPConnection_MultipartBody& part) const;

  const std::string spoolPath_;
  const std::function<bool()> aborted_;
  std::unique_ptr<char[], FreeBuffer> buffer_;
  FileDescriptor spool_;
  uint64_t length_ = 0;  // of the body so far
  std::string lastPath_;
  std::vector<PlacedFile> files_;  // in the order of the body
};

}  // namespace kelo
