// The command put, which uploads files and folders in steps: walk, plan, send, tell the outcomes.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>

#include "host/commands/Command.h"
#include "host/commands/Selection.h"
#include "host/download/Fetch.h"
#include "host/names/ResultText.h"
#include "host/upload/Albums.h"
#include "host/upload/Metadata.h"
#include "host/upload/Send.h"
#include "host/upload/Summary.h"
#include "host/upload/Walk.h"

namespace kelo::host {
namespace {

struct PutOptions {
  std::vector<std::string> paths;
  std::string list;
  std::string album;
  std::string tags;
  UploadFilter filter;
  bool albumsFromFolders = false;
  bool force = false;
  bool dryRun = false;
  bool metadata = false;
  unsigned transfers = kTransfers;
  bool json = false;
};

bool HasNoAlbum(const UploadPlan& plan) {
  return std::ranges::all_of(
      plan.files, [](const File* file) { return file->album.Empty(); });
}

// The files with their albums, and those that are known named as such.
std::vector<File> FilesOf(const std::vector<std::string>& paths, const PutOptions& options,
                          const AlbumName& album, Recognition& recognition,
                          LeftOutCounts& leftOut) {
  std::vector<File> files = FindFiles(paths, options.filter, options.albumsFromFolders, &leftOut,
                                      [&](const std::vector<File>& found) {
                                        if (!options.force) recognition.Expect(found);
                                      });
  if (!options.albumsFromFolders)
    for (File& file : files) file.album = album;
  if (!options.force) recognition.Recognise(PointersTo(files));
  return files;
}

int Put(Host& host, const PutOptions& options) {
  Output& out = host.Out();
  if (options.paths.empty() && options.list.empty())
    throw CLI::ValidationError("put", "give PATHs or --files-from");
  const std::vector<std::string> paths = WithListed(options.paths, options.list);
  if (!options.dryRun) host.LockAccount();
  Albums albums(
      out, [&]() -> Library& { return host.Loaded(); }, options.dryRun);
  const AlbumName album = albums.Meant(options.album);
  Library& library = host.WithSession();
  Memory memory(out, StateFile::MemoryFolder(), host.Restored().account);
  Recognition recognition(
      memory, [&](bool anew) -> Library& { return host.Loaded(anew); },
      [&](const std::string& id) { return FetchDigest(library, id, StateFile::MemoryFolder()); });
  LeftOutCounts leftOut;
  std::vector<File> files = FilesOf(paths, options, album, recognition, leftOut);
  // A dry run adds up what would be stored, in the order of the plan.
  Workers workers(library, DoTask, host.WorkersTerms(options.dryRun ? 1 : options.transfers));
  const UploadPlan plan = PlanUpload(files, !options.force, workers.Most());
  host.BeginSummary(EmptySummary(leftOut, options.dryRun));
  TellUnfit(out, memory, plan.unfit, options.dryRun);
  const size_t all = plan.files.size();
  if (all == 0) return TellSums(out, plan, leftOut, options.dryRun);
  if (options.albumsFromFolders && HasNoAlbum(plan))
    out.Note("no album is made: all files lie directly in PATH; name the folder above it");
  size_t stored = 0;
  const auto setDone = [&] { out.SetDone(fmt::format("{} of {} stored", stored, all)); };
  setDone();
  SendFiles(library, workers, plan,
            {.albumId = [&](const AlbumName& name) { return albums.Id(name); },
             .recognition = recognition,
             .tags = options.tags,
             .dryRun = options.dryRun},
            [&](const File& file) {
              TellOutcome(out, file, options.dryRun);
              stored += file.outcome == UploadOutcome::kStored ? 1 : 0;
              setDone();
            });
  const bool isBrought =
      options.dryRun || BringMetadata(out, library, memory, plan, {options.metadata, options.tags});
  const int status = TellSums(out, plan, leftOut, options.dryRun);
  return isBrought ? status : kExitFailed;
}

constexpr const char* kAboutFiles =
    "A file that the service holds already is not sent; with an album given, it is placed there. "
    "What this machine has sent or downloaded is known by its content, so a file that was edited "
    "goes up as a new item. What others have sent is known by name, size and dates. Of folders, "
    "pictures, movies and sound are taken; what the system "
    "leaves there (Thumbs.db, .DS_Store and such), hidden files and all others are left out and "
    "counted. A file named itself is sent whatever its kind, but for what the system leaves. Links "
    "to files are followed, those to "
    "folders only when named.\n"
    "--albums-from-folders: files at the top of PATH are in no album. A folder in PATH that holds "
    "folders becomes a folder, with an album for each of them and one of its own name for its "
    "loose files; any other becomes an album. What lies deeper joins the album of its second "
    "level. With several PATHs, each folder among them counts as a folder in PATH, and a file is "
    "in "
    "no album. The local service imports a folder by the same rule.\n";
constexpr const char* kAboutRequests =
    "--newer-than and --older-than look at the modification date of the file. By date and size, a "
    "voice memo goes with its picture.\n"
    "A request takes up to 100 files or 64 MiB, and less where several go at a time; one bad file "
    "costs only itself. A .wav file is the voice memo of the picture of its name. Empty files, "
    "names that are not UTF-8, files of 2 GiB and more, and what is no regular file cannot be "
    "sent. Each is named once, and again when it has changed; --dry-run names all. Exit code 3: "
    "all is stored but such files. 1: something failed that may work the next time.";

}  // namespace

void AddPutCommand(CLI::App& app, Action& chosen) {
  const auto [put, options] =
      AddCommand(app, chosen, "put", "Upload pictures, movies and sound", Put);
  put->add_option("PATH", options->paths, "Files, or folders to walk to the bottom");
  AddListOption(*put, options->list, "PATH");
  CLI::Option* album = put->add_option(
      "--album", options->album,
      "The album to put them into, by id, name or Folder/Name; made where it is missing");
  put->add_flag("--albums-from-folders", options->albumsFromFolders,
                "Put each folder's files into an album of its name")
      ->excludes(album);
  put->add_option("--tags", options->tags, "Tags for each of them, also those already there")
      ->check(AtMost(903))
      ->check(HasATag());
  AddFilterOptions(*put, options->filter.wish, "Send");
  AddSizeOptions(*put, options->filter.wish);
  put->add_flag("--all-files", options->filter.allFiles, "Send junk and files of other kinds too");
  put->add_flag("--force", options->force, "Send also what the service holds already");
  put->add_flag("--metadata", options->metadata,
                "Give the items, also those already there, the captions, ratings and keywords (as "
                "tags) of their pictures");
  put->add_flag("--dry-run", options->dryRun, "Tell what would be done, and change nothing");
  AddTransfersOption(*put, options->transfers);
  put->add_flag("--json", options->json, kJsonHelp);
  put->footer(kAboutFiles + GlobHelp("PATH") + kAboutRequests);
}

}  // namespace kelo::host
