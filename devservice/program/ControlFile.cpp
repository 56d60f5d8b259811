// A small file with one line.
#include "devservice/program/ControlFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
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

}  // namespace

fs::path DefaultControlFile() {
  const char* folder = std::getenv("XDG_RUNTIME_DIR");
  if (folder && *folder) return fs::path(folder) / "kelo-devservice.url";
  return fs::temp_directory_path() / ("kelo-devservice-" + std::to_string(geteuid()) + ".url");
}

ControlFile::ControlFile(fs::path path, std::string url)
    : path_(std::move(path)), url_(std::move(url)) {
  const fs::file_status there = fs::symlink_status(path_);
  if (fs::exists(there) && !fs::is_regular_file(there) && !fs::is_symlink(there))
    throw std::runtime_error(path_.string() + " is no file");
  fs::remove(path_);
  // Nothing that somebody puts there meanwhile is written to, nor followed.
  const Descriptor file(open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  const std::string line = url_ + "\n";
  if (fchmod(file.Get(), S_IRUSR | S_IWUSR) != 0 ||
      write(file.Get(), line.data(), line.size()) != static_cast<ssize_t>(line.size()))
    throw std::runtime_error("cannot write " + path_.string());
}

ControlFile::~ControlFile() {
  std::error_code ignored;
  if (ReadFile(path_) == url_ + "\n") fs::remove(path_, ignored);
}

std::string ReadControlFile(const fs::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0)
    throw std::runtime_error("no service runs here: there is no file " + path.string());
  // Anybody may have put it into a folder that all share.
  if (status.st_uid != geteuid()) throw std::runtime_error(path.string() + " is somebody else's");
  const std::string text = ReadFile(path);
  return text.substr(0, text.find('\n'));
}

}  // namespace kelo::devservice
