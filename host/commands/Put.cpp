// put: upload files and folders.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "host/account/Find.h"
#include "host/commands/Host.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"
#include "host/upload/AlbumNames.h"
#include "host/upload/PutSummary.h"
#include "host/upload/Upload.h"

namespace kelo::host {
namespace {

struct PutOptions {
  std::vector<std::string> paths;
  std::string album;
  std::string tags;
  UploadFilter filter;
  bool albumsFromFolders = false;
  bool force = false;
  bool dryRun = false;
  bool json = false;
};

// Gives the ids of the albums that batches go to, and makes those that are missing.
class Albums {
 public:
  Albums(Host& host, const PutOptions& options) : host_(host), options_(options) {}

  // The album of --album: none for "" and "root". One that is missing has no id yet.
  AlbumName Wanted() {
    const std::string wanted = WithoutEndSlash(options_.album);
    if (wanted.empty() || wanted == "root") return {};
    if (const auto found = FindAlbumIfAny(host_.Loaded(), wanted)) {
      id_ = found->id;
      return {.folder = {}, .album = Composed(found->name)};
    }
    const std::size_t slash = wanted.find('/');
    if (slash == std::string::npos) return {.folder = {}, .album = wanted};
    return {.folder = wanted.substr(0, slash), .album = wanted.substr(slash + 1)};
  }

  // What cannot be had is told of, and asked for, once.
  std::string Id(const AlbumName& name) {
    if (!id_.empty()) return id_;
    if (const auto known = failed_.find(name); known != failed_.end()) throw known->second;
    try {
      return FoundOrMade(name);
    } catch (const CommandFailure& failure) {
      if (failure.Code() == kKELOResult_Aborted) throw;
      host_.Out().Problem(Sentence(failure));
      failed_.emplace(name, failure);
      throw;
    }
  }

 private:
  std::string FoundOrMade(const AlbumName& name) {
    if (!shelf_) shelf_.emplace(host_.Loaded());
    std::string id = shelf_->Find(name);
    if (!id.empty() || (options_.dryRun && missing_.contains(name))) return id;
    if (options_.dryRun)
      missing_.insert(name);
    else
      id = shelf_->FindOrMake(name);
    host_.Out().Note(
        fmt::format("the album {} {} made", name.Words(), options_.dryRun ? "would be" : "was"));
    return id;
  }

  Host& host_;
  const PutOptions& options_;
  std::string id_;  // of --album, where it exists
  std::optional<AlbumShelf> shelf_;
  std::set<AlbumName> missing_;
  std::map<AlbumName, CommandFailure> failed_;
};

bool HasNoAlbum(const UploadPlan& plan) {
  return std::ranges::all_of(
      plan.batches, [](const auto& batch) { return batch.album.Empty(); });
}

int Put(Host& host, const PutOptions& options) {
  if (options.json) host.Out().UseJson();
  if (!options.dryRun) host.LockAccount();
  Albums albums(host, options);
  UploadPlan plan = PlanUpload(options.paths, {.filter = options.filter,
                                               .checked = !options.force,
                                               .album = albums.Wanted(),
                                               .albumsFromFolders = options.albumsFromFolders});
  PutSummary summary(host.Out(), options.dryRun);
  for (const RefusedFile& file : plan.refused) summary.Take(file);
  const std::size_t all = plan.FileCount();
  const LeftOutCounts leftOut = plan.leftOut;
  if (all == 0) {
    if (!plan.refused.empty()) return summary.Finish(leftOut);
    const std::string text = LeftOutText(leftOut);
    throw Failure(text.empty() ? "there is nothing to send"
                               : fmt::format("there is nothing to send; left out: {}", text));
  }
  if (options.albumsFromFolders && HasNoAlbum(plan))
    host.Out().Note("no albums: every file is at the top of PATH; name the folder above");
  host.Out().SetDone(summary.DoneOf(all));
  SendPlan(host.WithSession(), std::move(plan),
           {.albumId = [&](const AlbumName& name) { return albums.Id(name); },
            .tags = options.tags,
            .check = !options.force,
            .dryRun = options.dryRun},
           [&](const UploadedFile& file) {
             summary.Take(file);
             host.Out().SetDone(summary.DoneOf(all));
           });
  return summary.Finish(leftOut);
}

constexpr const char* kFooter =
    "A file that the service holds already (same name, size and dates) is not sent; with an album "
    "given, it is placed there. Of folders, pictures, movies and sound are taken; what the system "
    "leaves there (Thumbs.db, .DS_Store and such), hidden files and all others are left out and "
    "counted. A file named itself is sent whatever its kind. Links to files are followed, those to "
    "folders only when named.\n"
    "--albums-from-folders: files at the top of PATH are in no album. A folder in PATH that holds "
    "folders becomes a folder, with an album for each of them and one of its own name for its "
    "loose files; any other becomes an album. What lies deeper joins the album of its second "
    "level. The local service imports folders by the same rule.\n"
    "A GLOB without a slash is compared with names, any other with the path below PATH, and one "
    "that ends in a slash with folders; case does not count. A folder that is excluded is not "
    "entered.\n"
    "Files are sent in portions of 100 files or 64 MiB; one bad file costs only itself. A .wav "
    "file is the voice memo of the picture of its name. Empty files, names that are not UTF-8, and "
    "files of 2 GiB and more cannot be sent.";

}  // namespace

void AddPutCommand(CLI::App& app, Action& chosen) {
  CLI::App* put = app.add_subcommand("put", "Upload pictures, movies and sound");
  const auto options = std::make_shared<PutOptions>();
  const auto globs = [&](const char* name, std::vector<std::string>& patterns, const char* about) {
    put->add_option(name, patterns, about)->type_name("GLOB")->allow_extra_args(false);
  };
  put->add_option("PATH", options->paths, "Files, or folders to walk to the bottom")->required();
  CLI::Option* album = put->add_option(
      "--album", options->album,
      "The album to put them into, by id, name or Folder/Name; made where it is missing");
  put->add_flag("--albums-from-folders", options->albumsFromFolders,
                "Put each folder's files into an album of its name")
      ->excludes(album);
  const CLI::Validator fits(
      [](std::string& text) { return text.size() > 903 ? "is longer than 903 bytes" : ""; }, "");
  put->add_option("--tags", options->tags, "Tags for each of them")->check(fits);
  globs("--include", options->filter.include, "Send only what matches; may be repeated");
  globs("--exclude", options->filter.exclude, "Leave out what matches; may be repeated");
  put->add_flag("--all-files", options->filter.allFiles, "Send junk and files of other kinds too");
  put->add_flag("--force", options->force, "Send also what the service holds already");
  put->add_flag("--dry-run", options->dryRun, "Tell what would be done, and change nothing");
  put->add_flag("--json", options->json, kJsonHelp);
  put->footer(kFooter);
  put->callback(
      [options, &chosen] { chosen = [options](Host& host) { return Put(host, *options); }; });
}

}  // namespace kelo::host
