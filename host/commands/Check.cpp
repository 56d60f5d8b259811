// The command check, which tells whether files here and items of the account agree.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <array>
#include <filesystem>

#include "host/account/EntryJson.h"
#include "host/account/FindEach.h"
#include "host/check/Comparison.h"
#include "host/commands/Command.h"
#include "host/commands/Selection.h"
#include "host/names/Names.h"
#include "host/upload/Walk.h"

namespace kelo::host {
namespace {

struct CheckOptions {
  std::vector<std::string> named;
  UploadFilter filter;
  bool all = false;
  bool download = false;
  unsigned transfers = kTransfers;
  bool json = false;
};

// What stands here is meant before what the account has.
bool IsHere(const std::string& named) {
  std::error_code failed;
  return std::filesystem::exists(std::filesystem::symlink_status(named, failed));
}

// Tells each difference as it comes, and counts.
class CheckReporter {
 public:
  CheckReporter(Output& out, CheckedItems& items, size_t files)
      : out_(out), items_(items), files_(files) {
    TellDone();
  }

  void operator()(const ComparedFile& compared) {
    constexpr const char* kWords[] = {"", "changed: ", "only here: ", ""};
    ++counts_[static_cast<size_t>(compared.agreement)];
    taken_ += compared.isTaken ? 1 : 0;
    TellDone();
    const std::string path = Shown(compared.file.path);
    if (out_.IsJson()) out_.Result("", ToJson(compared));
    if (compared.agreement == Agreement::kUnknown)
      out_.Problem(fmt::format("{}: {}", path, Shown(compared.problem)));
    else if (compared.agreement != Agreement::kSame)
      out_.Line(kWords[static_cast<size_t>(compared.agreement)] + path);
  }

  // The items that no file is, and the sums. Gives the exit code.
  int Finish(const LeftOutCounts& leftOut) {
    size_t onlyThere = 0;
    if (items_.Misses())
      for (const CheckedItem& item : items_.InOrder())
        if (!item.isMet) {
          ++onlyThere;
          const std::string path = items_.PathOf(item);
          out_.Result("only there: " + Shown(path), ToJson(item));
        }
    if (const std::string text = LeftOutText(leftOut); !text.empty())
      out_.Note(fmt::format("left out: {}", text));
    if (taken_ > 0)
      out_.Note(
          fmt::format("{} taken for the same by name, size and date; --download compares the "
                      "bytes",
                      CountText(taken_, "file")));
    const size_t unseen = items_.Misses() ? items_.LeftOutCount() : 0;
    const std::string text =
        fmt::format("{} the same, {} changed, {} only here{}{}{}", Count(Agreement::kSame),
                    Count(Agreement::kChanged), Count(Agreement::kOnlyHere),
                    items_.Misses() ? fmt::format(", {} only there", onlyThere) : "",
                    AlsoText(Count(Agreement::kUnknown), "could not be compared"),
                    AlsoText(unseen, "left out there"));
    out_.Sum(text);
    return Count(Agreement::kSame) == files_ && onlyThere + unseen == 0 ? 0 : 1;
  }

 private:
  size_t Count(Agreement agreement) const { return counts_[static_cast<size_t>(agreement)]; }

  // What an abort would say.
  void TellDone() {
    size_t done = 0;
    for (const size_t count : counts_) done += count;
    out_.SetDone(fmt::format("{} of {} compared", done, files_));
  }

  Json ToJson(const ComparedFile& compared) const {
    constexpr const char* kWords[] = {"same", "changed", "onlyHere", "failed"};
    const File& file = compared.file;
    Json object = {{"path", file.path}};
    if (file.reason.empty()) object["bytes"] = file.size;
    object["outcome"] = kWords[static_cast<size_t>(compared.agreement)];
    if (compared.isTaken) object["takenBy"] = "nameSizeAndDate";
    if (!compared.itemId.empty()) object["id"] = IdJson(compared.itemId);
    if (compared.item != nullptr) object["itemPath"] = "/" + items_.PathOf(*compared.item);
    if (compared.agreement == Agreement::kUnknown) {
      object["error"] = {{"message", compared.problem}};
      if (compared.code != 0) object["error"]["code"] = compared.code;
    }
    return object;
  }

  Json ToJson(const CheckedItem& item) const {
    return {
        {"outcome", "onlyThere"}, {"id", IdJson(item.id)}, {"itemPath", "/" + items_.PathOf(item)}};
  }

  Output& out_;
  CheckedItems& items_;
  const size_t files_;
  std::array<size_t, 4> counts_{};
  size_t taken_ = 0;
};

int Check(Host& host, const CheckOptions& options) {
  Output& out = host.Out();
  out.KeepResults();
  std::vector<std::string> paths;
  std::vector<std::string> targets;
  for (const std::string& named : options.named) (IsHere(named) ? paths : targets).push_back(named);
  if (options.all && !targets.empty())
    throw CLI::ValidationError("check", "give either TARGETs or --all");
  Library& library = host.Loaded();
  host.BeginSummary({{"same", 0}, {"changed", 0}, {"onlyHere", 0}, {"failed", 0}});
  const std::vector<Item> entries = FindEach(library, targets);
  if (entries.empty() && !targets.empty()) return 1;
  CheckedItems items(library, entries, options.filter.wish, options.all || !targets.empty());
  LeftOutCounts leftOut;
  const std::vector<std::string> here = {"."};
  std::vector<File> files =
      FindFiles(paths.empty() ? here : paths, options.filter, false, &leftOut);
  if (paths.empty())
    for (File& file : files)
      file.path = std::filesystem::path(file.path).lexically_normal().string();
  if (files.empty()) out.Note("there are no files to compare");
  Memory memory(out, StateFile::MemoryFolder(), host.Restored().account);
  Workers workers(library, DoTask, host.WorkersTerms(options.transfers));
  CheckReporter reporter(out, items, files.size());
  CompareFiles(
      {.library = library, .workers = workers, .memory = memory, .downloads = options.download},
      files, items, std::ref(reporter));
  const int status = reporter.Finish(leftOut);
  return entries.size() == targets.size() ? status : 1;
}

constexpr const char* kAbout =
    "A PATH is a file or folder that exists here; without one, the current folder is meant. "
    "Anything else is a TARGET: the id, name or path of an item, album or folder of the account, "
    "or "
    "'root' for the items in no album. Where a file or folder here has the name of an album, "
    "'/Album' or its id means the album.\n"
    "Files are looked for among the items of the TARGETs, and items that no file here is are 'only "
    "there'. Without a TARGET, files are looked for in your whole account, and what is only there "
    "is told only with --all.\n"
    "What this machine has sent or downloaded is known by its content, whatever its name and date "
    "are now: that needs no question and no download. What others have sent counts as the same by "
    "name, size and dates, as 'kelo put' takes it, and is counted once more. --download compares "
    "those bytes, and those of the items that have a file's name, in a temporary place; what it "
    "learns is remembered. A file has changed if its item is there with other bytes, or an item of "
    "its name that this machine knows has other bytes.\n"
    "Nothing in the account changes. The exit code is 0 if all agree, and 1 if not or if that "
    "could not be found out.\n"
    "Folders are walked as 'kelo put' walks them, and what is left out is counted. ";

}  // namespace

void AddCheckCommand(CLI::App& app, Action& chosen) {
  const auto [check, options] =
      AddCommand(app, chosen, "check", "Tell whether files here and the account agree", Check);
  check->add_option("PATH|TARGET", options->named,
                    "Files and folders here, and ids, names or paths of items, albums and folders");
  AddFilterOptions(*check, options->filter.wish, "Compare");
  check->add_flag("--all", options->all, "Tell also what of your whole account is only there");
  check->add_flag("--all-files", options->filter.allFiles,
                  "Compare junk and files of other kinds too");
  check->add_flag("--download", options->download,
                  "Compare the bytes also of what this machine has neither sent nor downloaded");
  AddTransfersOption(*check, options->transfers);
  check->add_flag("--json", options->json, kJsonHelp);
  check->footer(kAbout + GlobHelp("PATH") +
                "An item of which the name, the path in the account or the date is left out so is "
                "not missed here.");
}

}  // namespace kelo::host
