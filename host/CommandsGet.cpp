// get: download originals.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>

#include "Fetch.h"
#include "Host.h"
#include "Names.h"
#include "Records.h"
#include "ResultText.h"
#include "Tree.h"

namespace kelo::host {
namespace {

struct GetOptions {
  std::vector<std::string> ids;
  std::string album;
  std::string folder = ".";
};

std::vector<tagKELO_ItemInfo> WantedItems(Library& library, const GetOptions& options) {
  if (!options.album.empty()) {
    const tagKELO_ItemInfo album = FindAlbum(library, options.album);
    return library.List(FieldText(album.itemId), kKELOKind_FileItem);
  }
  std::vector<tagKELO_ItemInfo> items;
  for (const std::string& id : options.ids) {
    items.push_back(FindEntry(library, id));
    if (IsContainer(items.back()))
      throw Failure(fmt::format("'{}' is not an item; for all of an album use --album", Shown(id)));
  }
  return items;
}

// Prints what became of each file and gives the exit status; an aborted batch is thrown.
int Report(const std::vector<FetchedFile>& files) {
  std::size_t failed = 0;
  bool aborted = false;
  for (const FetchedFile& file : files) {
    const std::string name = Shown(file.path.string());
    if (file.result == kKELOResult_Success) {
      fmt::print("{}: stored, {}\n", name, ByteText(file.size));
      continue;
    }
    ++failed;
    aborted = aborted || file.result == kKELOResult_Aborted;
    if (file.attempted)
      fmt::print(stderr, "kelo: {}: {}\n", name, ResultText(file.result, kKELOCommand_Download));
  }
  if (aborted) throw CommandFailure("download", kKELOResult_Aborted, kKELOCommand_Download);
  if (failed == 0) return 0;
  fmt::print(stderr, "kelo: {} of {} not downloaded\n", failed, CountText(files.size(), "file"));
  return 1;
}

int Get(Host& host, const GetOptions& options) {
  if (options.ids.empty() == options.album.empty())
    throw CLI::ValidationError("get", "name either items or one --album");
  Library& library = host.Loaded();
  const auto items = WantedItems(library, options);
  if (items.empty()) {
    fmt::print(stderr, "nothing in it\n");
    return 0;
  }
  std::error_code failed;
  std::filesystem::create_directories(options.folder, failed);
  if (!std::filesystem::is_directory(options.folder)) {
    throw Failure(
        fmt::format("cannot create the folder {}: {}", Shown(options.folder), failed.message()));
  }
  return Report(Fetch(library, items, options.folder));
}

}  // namespace

void AddGetCommand(CLI::App& app, Action& chosen) {
  CLI::App* get = app.add_subcommand("get", "Download originals");
  const auto options = std::make_shared<GetOptions>();
  CLI::Option* ids = get->add_option("ID", options->ids, "Ids of the items");
  get->add_option("--album", options->album,
                  "Id or name of an album to download whole; 'root' for the items in no album")
      ->excludes(ids);
  get->add_option("--to", options->folder, "Folder to download into, created if missing")
      ->type_name("DIR")
      ->capture_default_str();
  get->footer(
      "A file that exists is never overwritten. Ctrl-C ends the download and leaves no partial "
      "file.");
  get->callback(
      [options, &chosen] { chosen = [options](Host& host) { return Get(host, *options); }; });
}

}  // namespace kelo::host
