// demo: finds the pictures and runs the story.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>

#include "host/commands/Host.h"
#include "host/demo/DemoStory.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

// The samples of an installation, or of the source tree that this program was built from; both are
// found from where the program lies, so that either can be moved.
fs::path SamplesFolder() {
  std::error_code failed;
  const fs::path here = fs::read_symlink("/proc/self/exe", failed).parent_path();
  for (const char* relative : {KELO_SAMPLES_INSTALLED, KELO_SAMPLES_BUILT}) {
    const fs::path folder = (here / relative).lexically_normal();
    if (fs::is_directory(folder, failed)) return folder;
  }
  throw Failure("the sample pictures are not installed; name a folder with pictures of your own");
}

fs::path FirstFolderIn(const fs::path& folder) {
  std::error_code failed;
  for (const auto& entry : fs::directory_iterator(folder, failed))
    if (entry.is_directory(failed)) return entry.path();
  return folder;
}

int Demo(Host& host, const std::string& wanted) {
  const fs::path folder = wanted.empty() ? SamplesFolder() : fs::path(wanted);
  std::error_code failed;
  if (!fs::is_directory(folder, failed)) throw Failure(Shown(folder.string()) + " is not a folder");
  // The samples bring a friend's album along; of a folder of your own, the friend has copies.
  if (fs::is_directory(folder / "mine", failed) && fs::is_directory(folder / "friend", failed))
    DemoStory(host, folder / "mine", FirstFolderIn(folder / "friend")).Tell();
  else
    DemoStory(host, folder, {}).Tell();
  return 0;
}

}  // namespace

void AddDemoCommand(CLI::App& app, Action& chosen) {
  CLI::App* demo =
      app.add_subcommand("demo", "Show everything, on a local service inside this program");
  const auto folder = std::make_shared<std::string>();
  demo->add_option("DIR", *folder, "Folder with pictures; without one, the sample pictures");
  demo->footer(
      "Uploads the pictures, organises, shares and downloads them, and proves that every byte came "
      "back.\n"
      "The pictures are only read; what the demonstration writes lies in a temporary folder that "
      "it removes.");
  demo->callback(
      [folder, &chosen] { chosen = [folder](Host& host) { return Demo(host, *folder); }; });
}

}  // namespace kelo::host
