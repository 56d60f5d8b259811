// Where a running service leaves the URL of its page for `kelo-devservice ctl`.
#pragma once

#include <filesystem>
#include <string>

namespace kelo::devservice {

// Where it is unless another place is named: a file of the user.
std::filesystem::path DefaultControlFile();

// The file of a running service, readable by its owner only; gone with this, if it is still ours.
class ControlFile {
 public:
  ControlFile(std::filesystem::path path, std::string url);
  ~ControlFile();
  ControlFile(const ControlFile&) = delete;
  ControlFile& operator=(const ControlFile&) = delete;

 private:
  std::filesystem::path path_;
  std::string url_;
};

// The URL in such a file. Throws std::runtime_error where there is none, or it may be from anybody.
std::string ReadControlFile(const std::filesystem::path& path);

}  // namespace kelo::devservice
