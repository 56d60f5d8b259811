// Building the body of an upload, in memory or in the spool file.
#include "http/UploadBody.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

namespace kelo {
namespace {

constexpr size_t kChunkSize = 65536;
constexpr size_t kReadStep = 1 << 20;  // between two looks at the abort flag
constexpr size_t kLargePage = 2 << 20;

// An uninitialized buffer. Touched page by page, a large one would cost as much in page faults as
// in reading the files, so it asks for large pages; whether it gets them doesn't matter.
char* NewBuffer(size_t size) {
  char* const buffer = static_cast<char*>(::operator new[](size, std::align_val_t{kLargePage}));
#if defined(MADV_HUGEPAGE)
  static_cast<void>(madvise(buffer, size / kLargePage * kLargePage, MADV_HUGEPAGE));
#endif
  return buffer;
}

}  // namespace

void UploadBody::FreeBuffer::operator()(char* buffer) const {
  ::operator delete[](buffer, std::align_val_t{kLargePage});
}

UploadBody::UploadBody(std::string spoolPath, std::function<bool()> aborted)
    : spoolPath_(std::move(spoolPath)), aborted_(std::move(aborted)) {}

UploadBody::~UploadBody() {
  unlink(spoolPath_.c_str());
}

TransportCode UploadBody::Build(std::span<const tagHTTPConnection_MultipartBody> parts) {
  uint64_t fileSizes = 0;
  uint64_t total = 0;
  for (const auto& part : parts) {
    // Bytes are declared, but no file is named that could supply them.
    if (part.filePath.empty() && part.fileSize != 0) return TransportCode::UploadFileUnreadable;
    fileSizes += part.fileSize;
    total += part.bytes.size() + part.fileSize;
  }
  const bool inMemory = fileSizes < kSpoolThreshold;
  if (!inMemory && !OpenSpool()) return TransportCode::OtherFailure;
  // The whole body, or what is between a file and the spool.
  buffer_.reset(NewBuffer(inMemory ? static_cast<size_t>(total) : kChunkSize));
  for (const auto& part : parts) {
    TransportCode code = Append(part.bytes);
    if (code == TransportCode::Success && !part.filePath.empty()) code = AppendFile(part);
    if (code != TransportCode::Success) return code;
  }
  return TransportCode::Success;
}

TransportCode UploadBody::Append(std::string_view bytes) {
  int error = 0;
  if (!spool_)
    std::memcpy(buffer_.get() + length_, bytes.data(), bytes.size());
  else if (!WriteAll(spool_.Get(), bytes.data(), bytes.size(), error))
    return TransportCode::OtherFailure;
  length_ += bytes.size();
  return TransportCode::Success;
}

TransportCode UploadBody::AppendFile(const tagHTTPConnection_MultipartBody& part) {
  const FileDescriptor file = OpenPart(part);
  if (!file) return TransportCode::UploadFileUnreadable;
  files_.push_back({length_, part.fileSize});
  for (size_t left = part.fileSize; left > 0;) {
    if (aborted_()) return TransportCode::Aborted;
    const size_t step = std::min(left, spool_ ? kChunkSize : kReadStep);
    char* const target = spool_ ? buffer_.get() : buffer_.get() + length_;
    int error = 0;
    if (ReadFull(file.Get(), target, step, error) != step)
      return TransportCode::UploadFileUnreadable;
    if (!spool_)
      length_ += step;
    else if (const TransportCode code = Append({target, step}); code != TransportCode::Success)
      return code;
    left -= step;
  }
  lastPath_ = part.filePath;
  return TransportCode::Success;
}

URLBody UploadBody::Body() const {
  if (spool_) return URLFileBody{spool_.Get(), length_};
  return std::string_view(buffer_.get(), static_cast<size_t>(length_));
}

bool UploadBody::OpenSpool() {
  std::string name = spoolPath_;
  // What stands in the place is old, or another upload's that has given the name up already.
  unlink(name.c_str());
  int error = 0;
  spool_ = OpenNewFile(name, 0600, error);
  if (!spool_) {
    // A folder stands there, another user's file, or another host was faster.
    name += ".XXXXXX";
    spool_ = FileDescriptor(mkostemp(name.data(), O_CLOEXEC));
  }
  if (spool_) unlink(name.c_str());
  return static_cast<bool>(spool_);
}

FileDescriptor UploadBody::OpenPart(const tagHTTPConnection_MultipartBody& part) const {
  if (part.filePath.find('\0') != std::string::npos) return {};
  uint64_t size = 0;
  int error = 0;
  FileDescriptor file = OpenRegularFileForReading(part.filePath, size, error);
  return size < part.fileSize ? FileDescriptor() : std::move(file);
}

uint64_t UploadBody::FileBytesWithin(uint64_t length) const {
  uint64_t bytes = 0;
  for (const PlacedFile& file : files_) {
    if (length <= file.begin) break;
    bytes += std::min(length - file.begin, file.size);
  }
  return bytes;
}

}  // namespace kelo
