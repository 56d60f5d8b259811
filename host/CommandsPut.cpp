// put: upload files and folders.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <map>
#include <memory>

#include "Host.h"
#include "Names.h"
#include "Records.h"
#include "ResultText.h"
#include "Upload.h"

namespace kelo::host {
namespace {

struct PutOptions {
  std::vector<std::string> paths;
  std::string album;
  std::string tags;
  bool force = false;
};

// Prints each file's fate as it comes, and counts.
class Reporter {
 public:
  void operator()(const UploadedFile& file) {
    ++counts_[file.outcome];
    if (file.Held())
      fmt::print("{}: {}\n", Shown(file.file.path.string()), file.Words());
    else
      fmt::print(stderr, "kelo: {}: {}\n", Shown(file.file.path.string()), file.Words());
    std::fflush(stdout);
  }

  int Finish(std::size_t refusedHere) {
    const std::size_t there =
        counts_[UploadOutcome::kAlreadyThere] + counts_[UploadOutcome::kAlreadyInAlbum];
    std::size_t failed = refusedHere;
    for (const auto& [outcome, count] : counts_)
      if (outcome > UploadOutcome::kAlreadyInAlbum) failed += count;
    fmt::print("{} stored, {} already there, {} not stored\n", counts_[UploadOutcome::kStored],
               there, failed);
    if (counts_[UploadOutcome::kAlreadyThere] > 0 && hintWanted) {
      fmt::print(
          "what is already there may be in other albums; 'kelo link' puts it into this one\n");
    }
    return failed == 0 ? 0 : 1;
  }

  bool hintWanted = false;

 private:
  std::map<UploadOutcome, std::size_t> counts_;
};

int Put(Host& host, const PutOptions& options) {
  UploadPlan plan = PlanUpload(options.paths, !options.force);
  for (const std::string& sentence : plan.refused) fmt::print(stderr, "kelo: {}\n", sentence);
  const std::size_t refused = plan.refused.size();
  Reporter reporter;
  if (plan.FileCount() == 0) {
    if (refused == 0) throw Failure("there is nothing to send");
    return reporter.Finish(refused);
  }
  UploadOptions upload{.album = {}, .tags = options.tags, .check = !options.force};
  if (!options.album.empty() && options.album != "root") {
    upload.album = FieldText(FindAlbum(host.Loaded(), options.album).itemId);
    reporter.hintWanted = true;
  }
  SendPlan(host.WithSession(), std::move(plan), upload, std::ref(reporter));
  return reporter.Finish(refused);
}

}  // namespace

void AddPutCommand(CLI::App& app, Action& chosen) {
  CLI::App* put = app.add_subcommand("put", "Upload pictures, movies and voice memos");
  const auto options = std::make_shared<PutOptions>();
  put->add_option("FILE", options->paths, "Files, or folders to walk to the bottom")->required();
  put->add_option("--album", options->album,
                  "Id or name of the album to put them into; without it, in no album");
  const CLI::Validator fits(
      [](std::string& text) { return text.size() > 903 ? "is longer than 903 bytes" : ""; }, "");
  put->add_option("--tags", options->tags, "Tags for each of them")->check(fits);
  put->add_flag("--force", options->force, "Send also what the service holds already");
  put->footer(
      "A file that the service holds already (same name, size and dates) is not sent. Files are "
      "sent in\n"
      "portions of 100 files or 64 MiB, so that one bad file does not lose the rest. A .wav file "
      "is the\n"
      "voice memo of the picture of its name. Files of 2 GiB and more cannot be sent.");
  put->callback(
      [options, &chosen] { chosen = [options](Host& host) { return Put(host, *options); }; });
}

}  // namespace kelo::host
