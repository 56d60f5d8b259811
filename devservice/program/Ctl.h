// The other side of a running service's control calls: `kelo-devservice ctl`, which asks it from
// the shell.
#pragma once

#include <filesystem>
#include <string>

namespace CLI {
class App;
}

namespace kelo::devservice {

// Where a service writes the URL of its page while it runs, token included, unless it is told
// another place: a file of the user.
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

// Declares `ctl` and its commands. They run while the command line is read, and throw
// std::runtime_error where the service cannot be reached or refuses.
void DeclareCtl(CLI::App& app);

}  // namespace kelo::devservice
