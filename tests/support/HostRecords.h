// The records of a host, filled so that each command has what it needs to send its requests.
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

#include "KELOAccess.h"
#include "support/TemporaryFolder.h"

namespace kelo::testing {

// The public calls do not know std::string; these fill and read the fields of a record.
template <size_t Size>
void SetField(char (&field)[Size], std::string_view text) {
  std::memset(field, 0, Size);
  if (!text.empty()) std::memcpy(field, text.data(), std::min(Size, text.size()));
}

template <size_t Size>
std::string FieldText(const char (&field)[Size]) {
  return std::string(field, strnlen(field, Size));
}

inline tagKELO_StringInfo Text(std::string& text) {
  return {text.data(), static_cast<uint32_t>(text.size())};
}

// The texts of these two are the caller's, and must outlive the record.
inline tagKELO_LoadInfo UploadOf(std::string& path, int32_t size) {
  tagKELO_LoadInfo file{};
  file.filePath = Text(path);
  file.fileSize = size;
  SetField(file.fileModifyDate, "2008-05-17");
  SetField(file.fileCreateDate, "2008-05-16");
  return file;
}
inline tagKELO_DownloadInfo DownloadOf(std::string_view url, std::string& path) {
  tagKELO_DownloadInfo file{};
  SetField(file.url, url);
  file.destPath = Text(path);
  return file;
}
inline tagKELO_ItemInfo NewContainer(uint32_t kind, std::string_view name) {
  tagKELO_ItemInfo made{};
  made.kind = kind;
  SetField(made.name, name);
  return made;
}

// A session that no service has opened, whose URLs begin with `base`.
inline tagKELO_SessionInfo SessionAt(const std::string& base) {
  tagKELO_SessionInfo session{};
  SetField(session.token, "TOKEN678901234567890123456");
  SetField(session.uploadUrl, base + "/upload");
  SetField(session.manageUrl, base + "/manage");
  SetField(session.downloadUrl, base + "/download");
  return session;
}

// One record for every command that takes one.
struct HostRecords {
  // Every text that a host may choose begins with `prefix`.
  explicit HostRecords(const TemporaryFolder& folder, const std::string& prefix = "")
      : path(folder.Write(prefix + "picture.jpg", "bytes")),
        destination(folder.Path("download")),
        text(prefix + "a@example.org") {
    SetField(session.token, "T");
    item = NewContainer(kKELOKind_Album, prefix + "New");
    SetField(link.itemIdList, prefix + "I3");
    for (char* date : {upload.fileModifyDate, upload.fileCreateDate, upload.shotDate})
      std::snprintf(date, sizeof upload.shotDate, "%s2008-05-17", prefix.c_str());
    SetField(upload.tagList, prefix);
    properties.propertyMask = 1;
    SetField(properties.caption, prefix);
    SetField(tags.text, prefix);
  }
  // Frees what the library has handed out.
  ~HostRecords() {
    for (tagKELO_StringInfo* out :
         {&list, &recipients.accepted, &recipients.rejected, &mail.accepted, &mail.rejected})
      delete[] out->text;
  }
  HostRecords(const HostRecords&) = delete;
  HostRecords& operator=(const HostRecords&) = delete;

  // The record of a command; null where it takes none.
  void* Of(uint32_t code) const { return all_.contains(code) ? all_.at(code).first : nullptr; }
  // Where the command's result stands in its record; null where the record has no such word.
  const uint32_t* ResultWord(uint32_t code) const {
    const bool has = all_.contains(code) && all_.at(code).second;
    return has ? static_cast<const uint32_t*>(Of(code)) : nullptr;
  }

  std::string path, destination, text;
  tagKELO_OpenSessionInfo opening{};
  tagKELO_SessionInfo session{};
  tagKELO_ItemInfo item{};
  tagKELO_AddLinkInfo link{};
  tagKELO_LoadInfo upload = UploadOf(path, 5);
  tagKELO_DownloadInfo download = DownloadOf("", destination);
  tagKELO_RecipientInfo recipients{Text(text), {}, {}};
  tagKELO_StringInfo list{};
  tagKELO_PictureMailInfo mail{0, Text(text), {}, {}, Text(text), Text(text), 0};
  tagKELO_StorageCapacityInfo capacity{};
  tagKELO_PropertyInfo properties{};
  tagKELO_TagInfo tags{};
  uint32_t count = 0;  // also in the place of a function that hears of no event

 private:
  // Each record, and whether it begins with its command's result.
  const std::map<uint32_t, std::pair<void*, bool>> all_ = {
      {kKELOCommand_OpenSession, {&opening, false}},
      {kKELOCommand_ExtendTokenLimit, {&session, false}},
      {kKELOCommand_GetSessionInfo, {&session, false}},
      {kKELOCommand_GetItemsCount, {&count, false}},
      {kKELOCommand_RegisterEventCallBack, {&count, false}},
      {kKELOCommand_GetItemInfo, {&item, true}},
      {kKELOCommand_AddItems, {&item, true}},
      {kKELOCommand_AddNewLink, {&link, true}},
      {kKELOCommand_Upload, {&upload, false}},
      {kKELOCommand_Download, {&download, false}},
      {kKELOCommand_VerifyRecipient, {&recipients, false}},
      {kKELOCommand_GetAddressList, {&list, false}},
      {kKELOCommand_SendPictureMail, {&mail, true}},
      {kKELOCommand_GetStorageCapacity, {&capacity, true}},
      {kKELOCommand_ModifyProps, {&properties, true}},
      {kKELOCommand_AddTags, {&tags, true}}};
};

}  // namespace kelo::testing
