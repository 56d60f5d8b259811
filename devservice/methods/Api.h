// The protocol: takes the query and the document of a request, checks query, token, signature, call
// id and document, runs the method, and gives the answer document. Thread-safe: one call at a time.
#pragma once

#include <chrono>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "devservice/methods/Answers.h"
#include "devservice/protocol/RequestDocument.h"
#include "devservice/store/Store.h"

namespace kelo::devservice {

enum class Endpoint { kManage, kUpload };

struct ApiSettings {
  std::string baseUrl;
  std::uint64_t quotaBytes = 0;
  std::chrono::seconds tokenLifetime{};
};

// One file that an upload announced.
struct PlannedFile {
  std::uint64_t idx = 0;
  std::string rawName;  // as in the document: the part's header repeats it
  std::string tagList;
  std::string album;
  Item item;  // `file` is where its bytes go; empty once the store has it
};

// What became of a call.
struct CallReport {
  std::string answer;
  int errorCode = 0;  // 0: the call did what it was asked
  std::string errorText;
  std::string signature = "not checked";  // "ok", or why not

  void Fail(const ServiceError& error);  // makes it the answer
};

struct ExpectedUpload {
  AccountId account = 0;
  std::vector<PlannedFile> files;
};

class Api {
 public:
  static constexpr std::string_view kAuthPath = "/P2PwebCmdController/api-auth";
  static constexpr std::string_view kManagePath = "/P2PwebCmdController/api-manage";
  static constexpr std::string_view kUploadPath = "/P2PwebCmdController/api-upload";
  static constexpr std::string_view kDownloadPath = "/P2PwebCmdController/download";

  Api(Store& store, ApiSettings settings) : store_(store), settings_(std::move(settings)) {}

  // OpenSession and CloseSession, by GET.
  CallReport Authenticate(std::string_view query);
  // A document, by PUT.
  CallReport Call(Endpoint endpoint, std::string_view query, std::string_view document);

  // Whether a document's query names a session that is open. Nothing else of it is checked.
  bool KnowsSession(std::string_view query);

  // The two ends of a multipart upload: when its document is known, and when all files have
  // arrived. Both throw ServiceError; FinishUpload gives the answer.
  ExpectedUpload PlanUpload(std::string_view query, std::string_view document, CallReport& report);
  std::string FinishUpload(ExpectedUpload& plan);

  // The file of ".../original/ID" or ".../screen/ID"; empty when there is none.
  std::filesystem::path FileOf(std::string_view path);

  // All that a request can ask for: the methods, and "Download".
  static std::vector<std::string_view> MethodNames();

  // Whoever else touches the store holds this.
  std::mutex& Mutex() { return mutex_; }

 private:
  struct Request {
    AccountId account;
    const Element& method;
  };
  struct Rule;
  static const Rule kRules[];

  std::string OpenSession(std::string_view query, CallReport& report);
  std::string CloseSession(std::string_view query, CallReport& report);
  AccountId CheckSession(std::string_view query, std::string_view signedTail, bool closing,
                         CallReport& report);
  static const Rule& CheckDocument(Endpoint endpoint, const Element& method);

  // Catalogue (ApiCatalogue.cpp)
  std::string GetUserArchiveInfo(const Request& request);
  std::string GetHierarchy(const Request& request);
  std::string GetForeignAlbumItems(const Request& request);
  std::string GetItemsInfo(const Request& request);
  std::string GetStorageCapacity(const Request& request);
  std::string AlbumElement(const Album& album, const std::vector<Item>& items,
                           const ItemAttributes& wanted) const;
  std::string AlbumElements(AccountId account, std::string_view folder, const Element& method);
  // Edits (ApiEdits.cpp)
  std::string ModifyProps(const Request& request);
  std::string AddTags(const Request& request);
  std::string AddAlbum(const Request& request);
  std::string AddFolder(const Request& request);
  std::string AddItemsToAlbum(const Request& request);
  // Uploads (ApiUpload.cpp)
  std::string CheckUploadItems(const Request& request);
  std::string NegotiateUploadItems(const Request& request);
  std::string UploadItemsByPut(const Request& request);
  // Sharing (ApiSharing.cpp)
  std::string VerifyRecipients(const Request& request);
  std::string GetAddressList(const Request& request);
  std::string ShareAlbum(const Request& request);

  std::string DownloadUrl() const { return settings_.baseUrl + std::string(kDownloadPath); }

  Store& store_;
  ApiSettings settings_;
  std::mutex mutex_;
};

}  // namespace kelo::devservice
