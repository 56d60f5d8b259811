// Part of KELOAccess.hpp. Uploads and downloads: files into records, and records into outcomes.
#ifndef KELOACCESS_TRANSFERS_HPP
#define KELOACCESS_TRANSFERS_HPP

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <limits>

#include "KELOAccess/Sending.hpp"

namespace kelo {
namespace detail {

inline std::string PathText(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return {reinterpret_cast<const char*>(text.data()), text.size()};
}

// When the file was changed, in UTC, as the service writes dates.
inline std::string ModifyDate(const std::filesystem::path& path) {
  using namespace std::chrono;
  std::error_code failed;
  const auto changed = std::filesystem::last_write_time(path, failed);
  if (failed) throw Error(kKELOResult_NotFound, kKELOCommand_Upload);
  const auto time = floor<seconds>(file_clock::to_sys(changed));
  const auto day = floor<days>(time);
  const year_month_day date(day);
  const hh_mm_ss clock(time - day);
  char text[32];
  std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02dZ", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()));
  return text;
}

// The size of a file that can be read.
inline std::uint64_t ReadableSize(const std::filesystem::path& path) {
  std::error_code failed;
  const std::uintmax_t size = std::filesystem::file_size(path, failed);
  if (failed || !std::ifstream(path)) throw Error(kKELOResult_NotFound, kKELOCommand_Upload);
  return size;
}

// All but the texts that are lent.
inline void Describe(const UploadFile& file, tagKELO_LoadInfo& record) {
  const auto name = [](std::string_view text) { return TextName{text, kKELOCommand_Upload}; };
  const std::uint64_t size = file.size ? *file.size : ReadableSize(file.path);
  if (size > std::numeric_limits<std::int32_t>::max())
    throw Error(kKELOResult_TooLarge, kKELOCommand_Upload);
  record.fileSize = static_cast<std::int32_t>(size);
  const std::string modified = file.modifyDate.empty() ? ModifyDate(file.path) : file.modifyDate;
  Put(record.fileModifyDate, modified, name("date"));
  Put(record.fileCreateDate, file.createDate.empty() ? modified : file.createDate, name("date"));
  Put(record.shotDate, file.shotDate, name("date"));
  record.width = file.width;
  record.height = file.height;
  Put(record.tagList, file.tags, name("tag list"));
}

// Whether files of a command that failed were about to be sent: those say success.
inline bool IsPastCheck(const std::vector<tagKELO_LoadInfo>& records) {
  return std::any_of(records.begin(), records.end(), [](const tagKELO_LoadInfo& record) {
    return record.result == kKELOResult_Success;
  });
}

// Whether a result of an upload that was sent is the service's own no. Others may be the way's.
inline bool IsRefusal(std::uint32_t result) {
  switch (result) {
    case kKELOResult_Conflict:
    case kKELOResult_NoSpace:
    case kKELOResult_TooLarge:
    case kKELOResult_BadParameter:
    case kKELOResult_InvalidTarget:
    case kKELOResult_NoSession:
      return true;
    default:
      return false;
  }
}

using UploadBatch = Batch<tagKELO_LoadInfo, UploadedFile>;

inline void AddFiles(UploadBatch& batch, std::span<const UploadFile> files, bool checkOnly) {
  constexpr std::uint32_t kCommand = kKELOCommand_Upload;
  for (const UploadFile& file : files)
    batch.Add([&](tagKELO_LoadInfo& record) {
      const std::string path = PathText(file.path);
      const std::string name = file.name.empty() ? PathText(file.path.filename()) : file.name;
      RequireWhole(path, kMaxLentText, {"path", kCommand});
      RequireTexts(kCommand, "name", {name});
      Describe(file, record);
      // A file without a path cannot be read, which ends the command behind the check.
      if (!checkOnly) record.filePath = batch.Lend(path);
      record.fileName = batch.Lend(name);
    });
}

}  // namespace detail

inline UploadError::UploadError(const Error& failure, std::vector<UploadedFile> files,
                                bool mayBeStored)
    : Error(failure),
      files_(std::make_shared<const std::vector<UploadedFile>>(std::move(files))),
      mayBeStored_(mayBeStored) {}

inline std::vector<UploadedFile> Library::Upload(std::string_view album, View<UploadFile> files,
                                                 const UploadOptions& options,
                                                 const OnProgress& progress) {
  constexpr std::uint32_t kCommand = kKELOCommand_Upload;
  const Turn turn(*this);
  tagCommandControlInfo command = detail::Targeted(album, nullptr, kCommand);
  if (options.checkDuplicates || options.checkOnly) {
    command.outputOptions = kKELOOption_CheckDuplicates;
    command.selectionFlags = options.comparedDates;
  }
  detail::UploadBatch batch;
  detail::AddFiles(batch, files, options.checkOnly);
  auto& records = batch.Records();
  command.data = records.data();
  command.entryCount = static_cast<std::uint32_t>(records.size());
  bool hasSent = false;  // this try: the first event comes before the upload sets out
  bool sentBefore = false;
  const ClearedRecord cleared(*this, command, [&] {
    sentBefore = sentBefore || std::exchange(hasSent, false);
    for (tagKELO_LoadInfo& record : records) {
      record.result = detail::kUntouched;
      record.itemId[0] = '\0';
    }
  });
  std::uint32_t result = kKELOResult_Success;
  if (!records.empty())
    result = Command(kCommand, &command, [&](const Progress& sofar) {
      const bool goesOn = !progress || progress(sofar);
      hasSent = hasSent || goesOn;
      return goesOn;
    });
  const bool isDone = result == kKELOResult_Success ||
                      (options.checkOnly && result == kKELOResult_NotFound &&
                       detail::IsPastCheck(records));
  for (tagKELO_LoadInfo& record : records)
    if (!isDone && (record.result == kKELOResult_Success || record.result == detail::kUntouched))
      record.result = result;
  auto outcomes =
      batch.Outcomes(kCommand, [](const tagKELO_LoadInfo& record, UploadedFile& uploaded) {
        uploaded.id = FieldText(record.itemId);
      });
  if (isDone) return outcomes;
  const bool mayBeStored = sentBefore || (hasSent && !detail::IsRefusal(result));
  throw UploadError(Error(result, kCommand), std::move(outcomes), mayBeStored);
}

inline std::vector<DownloadedFile> Library::Download(View<DownloadFile> files,
                                                     const OnProgress& progress) {
  constexpr std::uint32_t kCommand = kKELOCommand_Download;
  detail::Batch<tagKELO_DownloadInfo, DownloadedFile> batch;
  for (const DownloadFile& file : files)
    batch.Add([&](tagKELO_DownloadInfo& record) {
      const std::string path = detail::PathText(file.path);
      detail::RequireWhole(path, detail::kMaxLentText, {"path", kCommand});
      if (file.url.empty()) throw Error("the URL is empty", kCommand);
      detail::Put(record.url, file.url, {"URL", kCommand});
      record.destPath = batch.Lend(path);
    });
  SendEach(kCommand, "", batch, progress);
  return batch.Outcomes(kCommand,
                        [](const tagKELO_DownloadInfo& record, DownloadedFile& downloaded) {
                          downloaded.size = record.receivedSize;
                        });
}

#ifdef __cpp_lib_jthread
inline std::vector<UploadedFile> Library::Upload(std::string_view album, View<UploadFile> files,
                                                 const UploadOptions& options,
                                                 const OnProgress& progress,
                                                 const std::stop_token& stop) {
  return Stoppable(stop, [&] { return Upload(album, files, options, progress); });
}

inline std::vector<DownloadedFile> Library::Download(View<DownloadFile> files,
                                                     const OnProgress& progress,
                                                     const std::stop_token& stop) {
  return Stoppable(stop, [&] { return Download(files, progress); });
}
#endif

}  // namespace kelo

#endif  // KELOACCESS_TRANSFERS_HPP
