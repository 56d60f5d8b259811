// The file has one line, is new at each start, and is trusted only if it is the user's own.
#include "devservice/program/ControlFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "devservice/files/Descriptor.h"

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

[[noreturn]] void FailToWrite(const fs::path& path, const std::string& why) {
  throw std::runtime_error("cannot write the page's URL to " + path.string() + ": " + why);
}

}  // namespace

fs::path DefaultControlFile() {
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  if (folder && *folder) return fs::path(folder) / "kelo-devservice.url";
  return fs::temp_directory_path() / ("kelo-devservice-" + std::to_string(geteuid()) + ".url");
}

ControlFile::ControlFile(fs::path path, std::string url)
    : path_(std::move(path)), url_(std::move(url)) {
  std::error_code ignored;
  const fs::file_status there = fs::symlink_status(path_, ignored);
  if (fs::exists(there) && !fs::is_regular_file(there) && !fs::is_symlink(there))
    FailToWrite(path_, "not a regular file; give another --control-file");
  // Takes the place of what is there at one go: a second service may be starting now, and a link
  // that somebody left is not followed.
  std::string whole = path_.string() + ".XXXXXX";
  const Descriptor file(mkostemp(whole.data(), O_CLOEXEC));
  if (file.Get() < 0) FailToWrite(path_, std::strerror(errno));
  const std::string line = url_ + "\n";
  if (write(file.Get(), line.data(), line.size()) != static_cast<ssize_t>(line.size()) ||
      rename(whole.c_str(), path_.c_str()) != 0) {
    const int why = errno;
    unlink(whole.c_str());
    FailToWrite(path_, std::strerror(why));
  }
}

ControlFile::~ControlFile() {
  std::error_code ignored;
  if (ReadFile(path_) == url_ + "\n") fs::remove(path_, ignored);
}

std::string ReadControlFile(const fs::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0)
    throw std::runtime_error("no service is running (no file " + path.string() +
                             "); start one, or give --control-file or --url");
  // Anybody may have put it into a folder that all share.
  if (status.st_uid != geteuid())
    throw std::runtime_error(path.string() + " belongs to another user, so it is not used");
  const std::string text = ReadFile(path);
  return text.substr(0, text.find('\n'));
}

}  // namespace kelo::devservice
