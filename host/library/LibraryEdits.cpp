// The commands whose records a caller fills and reads.
#include <algorithm>

#include "host/library/Library.h"
#include "host/library/Records.h"
#include "host/library/ResultText.h"

namespace kelo::host {

std::uint32_t Library::Upload(std::string_view album, std::vector<tagKELO_LoadInfo>& files,
                              bool check) {
  tagCommandControlInfo info =
      Targeted(album, files.data(), static_cast<std::uint32_t>(files.size()));
  if (check) {
    info.outputOptions = kKELOOption_CheckDuplicates;
    // Nobody knows the creation date of a file that was copied or restored.
    info.selectionFlags = kKELOCheck_FileModifyDate | kKELOCheck_ShotDate;
  }
  return Command(kKELOCommand_Upload, &info);
}

std::uint32_t Library::Download(std::vector<tagKELO_DownloadInfo>& files) {
  std::size_t first = 0;
  return Persist(kKELOCommand_Download, [&](Tries& tries) {
    tagCommandControlInfo info =
        Record(files.data() + first, static_cast<std::uint32_t>(files.size() - first));
    const std::uint32_t result = SendOnce(kKELOCommand_Download, &info);
    // The file that ended the command carries its result, and so does every one behind it; a
    // command that is refused as a whole leaves the records as they were.
    const auto failed = std::find_if(
        files.begin() + static_cast<std::ptrdiff_t>(first), files.end(),
        [](const tagKELO_DownloadInfo& file) { return !DownloadGoesOnAfter(file.result); });
    const auto ended = static_cast<std::size_t>(failed - files.begin());
    if (ended == files.size()) {
      if (!DownloadGoesOnAfter(result))
        for (std::size_t at = first; at < files.size(); ++at) files[at].result = result;
      return result;
    }
    if (ended > first) tries = {};
    first = ended;
    return result;
  });
}

bool Library::DownloadGoesOnAfter(std::uint32_t result) {
  return result == kKELOResult_Success || result == kKELOResult_NotFound ||
         result == kKELOResult_AlreadyExists || result == kKELOResult_DestinationUnusable;
}

// One command for each record, so that what is sent again never repeats what has been done.
template <typename Record>
std::uint32_t Library::SendEach(std::uint32_t command, std::string_view target,
                                std::vector<Record>& records) {
  std::uint32_t result = kKELOResult_Success;
  for (Record& record : records) {
    if (result == kKELOResult_Success) {
      tagCommandControlInfo info = Targeted(target, &record, 1);
      result = Command(command, &info);
    }
    if (result != kKELOResult_Success) record.result = result;
  }
  return result;
}

std::uint32_t Library::AddContainers(std::string_view parent,
                                     std::vector<tagKELO_ItemInfo>& containers) {
  return SendEach(kKELOCommand_AddItems, parent, containers);
}

std::uint32_t Library::AddLinks(std::string_view album, std::vector<tagKELO_AddLinkInfo>& links) {
  return SendEach(kKELOCommand_AddNewLink, album, links);
}

void Library::RegisterProgress(KELOAccessEventCallback callback) {
  // The record's data pointer carries the function itself.
  tagCommandControlInfo info = Record(reinterpret_cast<void*>(callback));
  info.selectionFlags = kKELOEventMask_Progress;
  Check("follow the progress", Command(kKELOCommand_RegisterEventCallBack, &info),
        kKELOCommand_RegisterEventCallBack);
}

void Library::UnregisterProgress() {
  tagCommandControlInfo info = Record(nullptr);
  info.selectionFlags = kKELOEventMask_Progress;
  Command(kKELOCommand_UnregisterEventCallBack, &info);
}

}  // namespace kelo::host
