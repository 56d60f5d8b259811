// kelo-demo: the demonstration, on a local service inside this program. Finds the pictures and runs
// the story.
#include <fmt/format.h>

#include <CLI/CLI.hpp>

#include "host/demo/DemoStory.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"
#include "host/program/Run.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

// The samples of an installation, or of the source tree that this program was built from; both are
// found from where the program lies, so that either can be moved.
fs::path SamplesFolder() {
  std::error_code failed;
  // Linux's: /proc/self/exe.
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

int Demo(RecordedLibrary& library, const std::string& wanted) {
  const fs::path folder = wanted.empty() ? SamplesFolder() : fs::path(wanted);
  std::error_code failed;
  if (!fs::is_directory(folder, failed))
    throw Failure(
        fmt::format("'{}' is not a folder; name a folder with pictures", Shown(folder.string())));
  // The samples bring a friend's album along; of a folder of your own, the friend has copies.
  if (fs::is_directory(folder / "mine", failed) && fs::is_directory(folder / "friend", failed))
    DemoStory(library, folder / "mine", FirstFolderIn(folder / "friend")).Tell();
  else
    DemoStory(library, folder, {}).Tell();
  return 0;
}

int Main(int argc, char** argv) {
  Output::HoldClosedStreams();
  Interrupt::BlockSignals();
  CLI::App app("Show everything that kelo does, on a local service inside this program");
  const ProgramTexts texts{{"kelo-demo [DIR]"},
                           {},
                           {{"Files", {{"PREFIX/share/kelo/samples", "The sample pictures."}}}},
                           {"kelo (1)", "kelo-devservice (1)"}};
  CommonOptions options;
  std::string folder;
  DescribeProgram(app, "kelo-demo", texts, options);
  app.add_option("DIR", folder, "Folder with pictures; without one, the sample pictures");
  app.footer(
      "Uploads the pictures, organises, shares and downloads them, and proves that every byte came "
      "back.\n"
      "The pictures are only read; what the demonstration writes lies in a temporary folder that "
      "it removes.");
  return RunProgram(app, texts, argc, argv, [&] {
    Output out("kelo-demo");
    SetUp(out, options);
    options.persistence.isLong = true;
    RecordedLibrary library(out, options.persistence);
    const Interrupt interrupt(library);
    return RunAction(app, out, library, [&] { return Demo(library, folder); });
  });
}

}  // namespace
}  // namespace kelo::host

int main(int argc, char** argv) {
  return kelo::host::Main(argc, argv);
}
