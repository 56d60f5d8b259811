// Creating, writing and removing the file of a download.
#include "http/DownloadFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "http/TransportCode.h"

namespace kelo {
namespace {

uint32_t CodeForWriteError(int error) {
  return error == ENOSPC ? kTransport_DiskFull : kTransport_OtherFailure;
}

}  // namespace

uint32_t DownloadFile::Create(const std::string& path) {
  if (path.empty() || path.find('\0') != std::string::npos) return kTransport_DestinationUnusable;
  path_ = path;
  int error = 0;
  file_ = OpenNewFile(path, 0666, error);
  struct stat status;
  if (!file_) {
    // A folder named with a slash at its end is not reported as existing.
    const bool exists = error == EEXIST || lstat(path.c_str(), &status) == 0;
    return exists ? kTransport_DestinationExists : kTransport_DestinationUnusable;
  }
  if (fstat(file_.Get(), &status) == 0) {
    device_ = status.st_dev;
    inode_ = status.st_ino;
  }
  return kTransport_Success;
}

uint32_t DownloadFile::Write(std::string_view data) {
  int error = 0;
  if (WriteAll(file_.Get(), data.data(), data.size(), error)) return kTransport_Success;
  return CodeForWriteError(error);
}

uint32_t DownloadFile::Keep() {
  const int error = file_.Close();
  if (error == 0) return kTransport_Success;
  RemoveIfStillOurs();
  return CodeForWriteError(error);
}

void DownloadFile::Discard() {
  if (!file_) return;
  RemoveIfStillOurs();
  file_.Close();
}

void DownloadFile::RemoveIfStillOurs() {
  struct stat status;
  if (lstat(path_.c_str(), &status) != 0) return;
  if (status.st_dev == device_ && status.st_ino == inode_) unlink(path_.c_str());
}

}  // namespace kelo
