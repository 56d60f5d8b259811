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
#include <string>
#include <utility>
#include <vector>

#include "http/HTTPConnection.h"
#include "http/TransportCode.h"
#include "platform/FileStream.h"
#include "platform/URLLoading.h"

namespace kelo {

class UploadBody {
 public:
  /// Sum of the file sizes from which the body is spooled.
  static constexpr uint64_t kSpoolThreshold = 104857600;

  /// `aborted` is asked between steps of bounded length.
  UploadBody(std::string spoolPath, std::function<bool()> aborted);
  UploadBody(const UploadBody&) = delete;
  UploadBody& operator=(const UploadBody&) = delete;
  /// Also removes what a host that died may have left at the spool path.
  ~UploadBody();

  /// Reads everything. A transport code; 4107 for a file that cannot supply its declared size.
  TransportCode Build(const std::vector<tagHTTPConnection_MultipartBody>& parts);

  /// The body, valid while this object lives.
  URLBody Body() const;
  const std::string& LastPath() const { return lastPath_; }
  uint64_t FileBytes() const { return fileBytes_; }
  uint64_t FileCount() const { return fileCount_; }
  /// The bytes of files among the first `length` bytes of the body.
  uint64_t FileBytesWithin(uint64_t length) const;

 private:
  struct FreeBuffer {
    void operator()(char* buffer) const;
  };
  TransportCode BuildInMemory(const std::vector<tagHTTPConnection_MultipartBody>& parts);
  TransportCode BuildInSpool(const std::vector<tagHTTPConnection_MultipartBody>& parts);
  TransportCode ReadFileIntoBuffer(const tagHTTPConnection_MultipartBody& part);
  TransportCode CopyFileIntoSpool(const tagHTTPConnection_MultipartBody& part);
  TransportCode AppendToSpool(const void* data, size_t size);
  bool OpenSpool();
  FileDescriptor OpenPart(const tagHTTPConnection_MultipartBody& part) const;
  void CountFile(const tagHTTPConnection_MultipartBody& part);

  const std::string spoolPath_;
  const std::function<bool()> aborted_;
  std::unique_ptr<char[], FreeBuffer> buffer_;
  FileDescriptor spool_;
  std::unique_ptr<char[]> chunk_;  // between a file and the spool
  uint64_t length_ = 0;            // of the body so far
  std::string lastPath_;
  uint64_t fileBytes_ = 0;
  uint64_t fileCount_ = 0;
  std::vector<std::pair<uint64_t, uint64_t>> files_;  // begin in the body, size; in their order
};

}  // namespace kelo
