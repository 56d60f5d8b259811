// Creating, writing, naming and removing the file of a download.
#include "http/ArrivingFile.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <utility>

namespace kelo {
namespace {

constexpr mode_t kMode = 0666;  // less the host's umask

TransportCode CodeForWriteError(int error) {
  return error == ENOSPC || error == EDQUOT ? TransportCode::DiskFull : TransportCode::OtherFailure;
}

}  // namespace

TransportCode ArrivingFile::Create(const std::string& path) {
  if (path.empty() || path.find('\0') != std::string::npos)
    return TransportCode::DestinationUnusable;
  std::error_code ignored;
  const auto standing = std::filesystem::symlink_status(path, ignored).type();
  const size_t nameAt = path.rfind('/') + 1;
  name_ = path.substr(nameAt);
  // Unknown is, for example, what stands at a name that is too long to be one.
  if (standing == std::filesystem::file_type::none) return TransportCode::DestinationUnusable;
  if (standing != std::filesystem::file_type::not_found) return TransportCode::DestinationExists;
  if (name_.empty()) return TransportCode::DestinationUnusable;
  folder_ = OpenFolder(nameAt == 0 ? "." : path.substr(0, nameAt));
  if (!folder_) return TransportCode::DestinationUnusable;
  file_ = OpenNamelessFile(folder_.Get(), kMode);
  hasName_ = false;
  return file_ && RememberFile() ? TransportCode::Success : CreateNamed();
}

TransportCode ArrivingFile::CreateNamed() {
  int error = 0;
  file_ = OpenNewFile(name_, kMode, error, folder_.Get());
  if (!file_)
    return error == EEXIST ? TransportCode::DestinationExists : TransportCode::DestinationUnusable;
  hasName_ = true;
  if (RememberFile()) return TransportCode::Success;
  unlinkat(folder_.Get(), name_.c_str(), 0);
  file_.Close();
  return TransportCode::DestinationUnusable;
}

bool ArrivingFile::RememberFile() {
  struct stat status;
  if (fstat(file_.Get(), &status) != 0) return false;
  device_ = status.st_dev;
  inode_ = status.st_ino;
  process_ = getpid();
  return true;
}

TransportCode ArrivingFile::Write(std::string_view data) {
  int error = 0;
  if (WriteAll(file_.Get(), data.data(), data.size(), error)) return TransportCode::Success;
  return CodeForWriteError(error);
}

TransportCode ArrivingFile::Keep() {
  const TransportCode code = hasName_ ? TransportCode::Success : TakeName();
  if (code != TransportCode::Success) {
    Discard();
    return code;
  }
  const int error = file_.Close();
  if (error != 0) RemoveIfStillOurs();
  folder_.Close();
  return error == 0 ? TransportCode::Success : CodeForWriteError(error);
}

TransportCode ArrivingFile::TakeName() {
  int error = 0;
  if (!IsWritten(file_.Get(), error)) return CodeForWriteError(error);
  if (NameFile(file_.Get(), folder_.Get(), name_, error)) {
    hasName_ = true;
    return TransportCode::Success;
  }
  if (error == EEXIST) return TransportCode::DestinationExists;
  const TransportCode code = CodeForWriteError(error);
  return code == TransportCode::DiskFull ? code : CopyToNamed();
}

TransportCode ArrivingFile::CopyToNamed() {
  const FileDescriptor nameless = std::move(file_);
  if (const TransportCode code = CreateNamed(); code != TransportCode::Success) return code;
  std::array<char, 65536> chunk;
  int error = lseek(nameless.Get(), 0, SEEK_SET) == 0 ? 0 : EIO;
  while (error == 0) {
    const size_t size = ReadFull(nameless.Get(), chunk.data(), chunk.size(), error);
    if (size == 0) break;
    if (const TransportCode code = Write({chunk.data(), size}); code != TransportCode::Success)
      return code;
  }
  return error == 0 ? TransportCode::Success : TransportCode::OtherFailure;
}

void ArrivingFile::Discard() {
  if (file_ && hasName_) RemoveIfStillOurs();
  file_.Close();
  folder_.Close();
}

void ArrivingFile::RemoveIfStillOurs() {
  struct stat status;
  const int folder = folder_.Get();
  if (process_ != getpid()) return;
  if (fstatat(folder, name_.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) return;
  if (status.st_dev == device_ && status.st_ino == inode_) unlinkat(folder, name_.c_str(), 0);
}

}  // namespace kelo
