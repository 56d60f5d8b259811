// The library as this program uses it: the three exported functions behind typed calls. Calls come
// from one thread; AbortRunning and Stop may come from another one. A call that fails throws
// CommandFailure; where records carry their own results, the caller reads those.
#pragma once

#include <cstdint>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "KELOAccess.h"

namespace kelo::host {

struct Credentials {
  std::string apiKey;
  std::string authToken;
  std::string secret;
};

// The lists that verifying and mailing hand back.
struct RecipientLists {
  std::string accepted;
  std::string rejected;
};

struct PictureMail {
  std::string recipients;
  std::string subject;
  std::string text;
  bool removeGps = false;
  bool verify = false;
};

class Library {
 public:
  Library();
  ~Library();
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;

  // Session.
  void OpenSession(const Credentials& credentials);
  void CloseSession();
  tagKELO_SessionInfo Session();
  void SetSession(tagKELO_SessionInfo session, const std::string& secret);
  void ExtendToken(tagKELO_SessionInfo session, const std::string& secret);
  tagKELO_StorageCapacityInfo Capacity();

  // Catalogue. `target` is an id; empty is the root folder.
  void LoadHierarchy();
  std::uint32_t Count(std::string_view target, std::uint32_t kinds);
  std::vector<tagKELO_ItemInfo> List(std::string_view target, std::uint32_t kinds);
  tagKELO_ItemInfo Info(std::string_view id, bool fresh = false);

  // Transfers: the command's own result is returned, the records carry theirs.
  std::uint32_t Upload(std::string_view album, std::vector<tagKELO_LoadInfo>& files, bool check);
  std::uint32_t Download(std::vector<tagKELO_DownloadInfo>& files);

  // Edits. Containers and links return the command's result; their records carry their own.
  void ModifyProps(std::string_view id, tagKELO_PropertyInfo properties);
  void AddTags(std::string_view id, std::uint32_t kind, std::string_view tags);
  std::uint32_t AddContainers(std::string_view parent, std::vector<tagKELO_ItemInfo>& containers);
  std::uint32_t AddLinks(std::string_view album, std::vector<tagKELO_AddLinkInfo>& links);

  // Sharing. Verify returns 0 or 4117, Mail its status: 0, or 4117 when addresses were dropped.
  std::uint32_t Verify(const std::string& recipients, RecipientLists& lists);
  std::string AddressList();
  std::uint32_t Mail(std::string_view album, const PictureMail& mail, RecipientLists& lists);

  // Progress events; one callback at a time.
  void RegisterProgress(KELOAccessEventCallback callback);
  void UnregisterProgress();

  // Ends the command that runs now, if any, and returns when it has ended. From another thread.
  void AbortRunning();
  // The same, and every later command fails as aborted. From another thread.
  void Stop();

  // The codes of all commands sent so far, aborts included.
  std::set<std::uint32_t> SentCommands() const;

 private:
  std::uint32_t Send(std::uint32_t command, tagCommandControlInfo* info);

  mutable std::mutex mutex_;
  bool stopped_ = false;
  std::set<std::uint32_t> sent_;
};

}  // namespace kelo::host
