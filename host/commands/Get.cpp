// The command get, which downloads originals and tells what became of each.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <array>

#include "host/account/FindEach.h"
#include "host/commands/Command.h"
#include "host/commands/Selection.h"
#include "host/download/Fetch.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

struct GetOptions {
  std::vector<std::string> targets;
  std::vector<std::string> albums;
  std::string list;
  Filter filter;
  bool all = false;
  std::string folder = ".";
  FetchOptions fetch;
  unsigned transfers = kTransfers;
  bool json = false;
};

// Tells each file's fate as it comes, and counts.
class FetchReporter {
 public:
  FetchReporter(Output& out, const DownloadPlan& plan, const FetchOptions& options)
      : out_(out),
        toFetch_(CountToFetch(plan, options)),
        leftOut_(plan.leftOut),
        filteredOut_(plan.filteredOut),
        dryRun_(options.dryRun) {
    TellDone();
  }

  void operator()(const FetchedFile& file) {
    ++counts_[static_cast<size_t>(file.outcome)];
    TellDone();
    const std::string name = Shown(file.file.path.string());
    if (file.outcome == FetchOutcome::kFailed)
      out_.Problem(fmt::format("{}: {} ({})", name, file.problem, file.code));
    const std::string line = Words(file);
    if (out_.IsJson() || !line.empty()) out_.Result(name + ": " + line, ToJson(file));
  }

  // What the summary in JSON begins with.
  static Json EmptySummary(bool dryRun) {
    Json summary;
    for (const FetchOutcome outcome : {FetchOutcome::kFetched, FetchOutcome::kHere,
                                       FetchOutcome::kFailed, FetchOutcome::kNotTried})
      summary[NameOf(outcome, dryRun)] = 0;
    summary.update({{"notFound", 0}, {"bytes", 0}, {"leftOut", 0}, {"leftOutBy", Json::object()}});
    return summary;
  }

  int Finish() {
    if (Interrupt::Signal() != 0) return kExitFailed;
    const size_t untried = dryRun_ ? 0 : Count(FetchOutcome::kNotTried);
    out_.Line(fmt::format("{}, {} already here{}{}{}{}",
                          dryRun_ ? fmt::format("{} to download", Count(FetchOutcome::kNotTried))
                                  : fmt::format("{} downloaded", Count(FetchOutcome::kFetched)),
                          Count(FetchOutcome::kHere),
                          AlsoText(Count(FetchOutcome::kFailed), "failed"),
                          AlsoText(untried, "not tried"), AlsoText(leftOut_, "left out"),
                          AlsoText(filteredOut_, "left out by the filter")));
    if (Count(FetchOutcome::kFailed) + untried > 0) return kExitFailed;
    return leftOut_ > 0 ? kExitUnfit : kExitDone;
  }

 private:
  size_t Count(FetchOutcome outcome) const { return counts_[static_cast<size_t>(outcome)]; }

  // What an abort would say.
  void TellDone() {
    out_.SetDone(fmt::format("{} of {} downloaded{}", Count(FetchOutcome::kFetched), toFetch_,
                             AlsoText(Count(FetchOutcome::kHere), "already here")));
  }

  // Empty where there is nothing to tell but the count at the end.
  std::string Words(const FetchedFile& file) const {
    if (file.outcome == FetchOutcome::kFetched)
      return fmt::format("downloaded, {}", ByteText(file.size));
    return file.outcome == FetchOutcome::kNotTried && dryRun_ ? "would be downloaded" : "";
  }

  static const char* NameOf(FetchOutcome outcome, bool dryRun) {
    constexpr const char* kNames[] = {"stored", "alreadyHere", "failed", "notTried"};
    const bool isPlanned = dryRun && outcome == FetchOutcome::kNotTried;
    return isPlanned ? "wouldStore" : kNames[static_cast<size_t>(outcome)];
  }

  Json ToJson(const FetchedFile& file) const {
    Json object{{"id", file.file.itemId},
                {"name", file.file.name},
                {"path", file.file.path.string()},
                {"outcome", NameOf(file.outcome, dryRun_)}};
    std::error_code unknown;
    if (file.outcome == FetchOutcome::kFetched) object["bytes"] = file.size;
    if (file.outcome == FetchOutcome::kHere)
      if (const auto size = std::filesystem::file_size(file.file.path, unknown); !unknown)
        object["bytes"] = size;
    if (file.outcome == FetchOutcome::kFailed)
      object["error"] = {{"code", file.code}, {"message", file.problem}};
    return object;
  }

  Output& out_;
  const size_t toFetch_;
  const size_t leftOut_;
  const size_t filteredOut_;  // by wish
  const bool dryRun_;
  std::array<size_t, 4> counts_{};
};

int Get(Host& host, const GetOptions& options) {
  if (options.all == !(options.targets.empty() && options.albums.empty() && options.list.empty()))
    throw CLI::ValidationError("get", "give either TARGETs or --all");
  const std::vector<std::string> targets = WithListed(options.targets, options.list);
  Library& library = host.Loaded();
  host.BeginSummary(FetchReporter::EmptySummary(options.fetch.dryRun));
  Wanted wanted{
      .entries = FindEach(library, targets), .all = options.all, .filter = options.filter};
  for (Item& album : FindEach(library, options.albums, FindAlbum))
    wanted.entries.push_back(std::move(album));
  const bool allFound = wanted.entries.size() == targets.size() + options.albums.size();
  if (!allFound && wanted.entries.empty()) return kExitFailed;
  DownloadPlan plan = PlanDownload(library, wanted, options.folder);
  host.Out().Count("leftOut", plan.leftOut + plan.filteredOut);
  host.Out().Count("leftOutBy/unreachable", plan.leftOut);
  host.Out().Count("leftOutBy/byFilter", plan.filteredOut);
  if (plan.files.empty() && plan.filteredOut == 0)
    host.Out().Note("there are no items to download");
  Memory memory(host.Out(), StateFile::MemoryFolder(), host.Restored().account);
  FetchOptions fetch = options.fetch;
  fetch.memory = &memory;
  FetchReporter reporter(host.Out(), plan, fetch);
  Workers workers(library, DoTask, host.WorkersTerms(options.transfers));
  FetchPlan(library, workers, std::move(plan), fetch, std::ref(reporter));
  const int status = reporter.Finish();
  return allFound ? status : kExitFailed;
}

}  // namespace

void AddGetCommand(CLI::App& app, Action& chosen) {
  const auto [get, options] = AddCommand(app, chosen, "get", "Download originals", Get);
  get->add_option("TARGET", options->targets,
                  "Ids, names or paths of items, albums and folders; 'root' for the items in no "
                  "album");
  get->add_option("--album", options->albums, "An album, like a TARGET")->type_name("ALBUM");
  AddListOption(*get, options->list, "TARGET");
  get->add_flag("--all", options->all, "Everything, friends' albums included");
  get->add_option("--to", options->folder, "Folder to download into, created if missing")
      ->type_name("DIR")
      ->capture_default_str();
  AddFilterOptions(*get, options->filter, "Get");
  get->add_flag("--replace", options->fetch.replace,
                "Get also what is here already, in place of the file that stands there");
  get->add_flag("--dry-run", options->fetch.dryRun, "Tell what would be downloaded, do nothing");
  AddTransfersOption(*get, options->transfers);
  get->add_flag("--json", options->json, kJsonHelp);
  get->footer(
      "One album goes straight into the folder. A folder, several albums or --all make folders as "
      "in the account; an album of its folder's name goes straight into that folder, and friends' "
      "albums go into \"Friends' albums\". Files of one name are numbered. Characters that a file "
      "name cannot have are written as in URLs, \"AC%2FDC\". Each file gets the date of its "
      "picture. By name and date, 'kelo get' and 'kelo put' recognise it later. Ctrl-C leaves no "
      "partial file. To keep friends' pictures out of your account, use 'kelo put --exclude "
      "\"Friends' albums/\"'.\n" +
      GlobHelp("DIR, where the file would go, without the number of namesakes") +
      "--newer-than and --older-than look at the date of the shot; where there is none, at that of "
      "the file, or else of the upload. The service tells no sizes before a download, so there is "
      "no filter for them.\n"
      "Exit code 3: all is here but what the account lists in a way in which it can never be "
      "fetched. 1: something failed that may work the next time.");
}

}  // namespace kelo::host
