// One download command for any number of originals.
#include "Fetch.h"

#include "Names.h"
#include "Progress.h"
#include "Records.h"

namespace kelo::host {
namespace {

// Failures of one file, after which the library goes on with the next.
bool GoesOn(std::uint32_t result) {
  return result == kKELOResult_Success || result == kKELOResult_NotFound ||
         result == kKELOResult_AlreadyExists || result == kKELOResult_DestinationUnusable;
}

}  // namespace

std::vector<FetchedFile> Fetch(Library& library, const std::vector<tagKELO_ItemInfo>& items,
                               const std::filesystem::path& folder) {
  std::vector<FetchedFile> files;
  std::vector<std::string> paths;
  std::vector<std::string> names;
  UniqueNames unique;
  for (const tagKELO_ItemInfo& item : items) {
    const std::string name = unique.Take(FileName(FieldText(item.name), FieldText(item.itemId)));
    files.push_back({.path = folder / name});
    paths.push_back(files.back().path.string());
    names.push_back(Shown(name));
  }
  std::vector<tagKELO_DownloadInfo> records(items.size());
  for (std::size_t at = 0; at < items.size(); ++at) {
    // A URL is an attribute of the service's answer: "&" arrives as a reference.
    CopyText(records[at].url, Resolved(FieldText(items[at].origUrl)));
    records[at].destPath = LentText(paths[at]);
  }
  {
    const Progress progress(library, names);
    const std::uint32_t result = library.Download(records);
    // A command that is refused as a whole leaves the records as they were.
    if (!records.empty() && result != records.back().result)
      for (auto& record : records) record.result = result;
  }
  bool ended = false;
  for (std::size_t at = 0; at < files.size(); ++at) {
    files[at].result = records[at].result;
    files[at].size = records[at].receivedSize;
    files[at].attempted = !ended;
    ended = ended || !GoesOn(records[at].result);
  }
  return files;
}

}  // namespace kelo::host
