// The methods that check what to upload, and both ends of a multipart upload.
//
// Statuses of CheckUploadItems: 0 new; 1 stored already; 2 stored already and in the album asked
// for; 3 refused, since the service takes no programs; 4 a file of this name and size is stored,
// but with other dates, so it may be sent.
#include "devservice/methods/Answers.h"
#include "devservice/methods/Api.h"
#include "devservice/protocol/ServiceError.h"
#include "devservice/protocol/Values.h"
#include "devservice/store/FileKinds.h"

namespace kelo::devservice {
namespace {

std::uint64_t RequireNumber(const Element& element, std::string_view attribute) {
  if (const auto number = NumberOf(element.Value(attribute))) return *number;
  throw ServiceError(ErrorNumber::kUnusableValue, "Unusable " + std::string(attribute));
}

// Rising positions from 1 on; gaps are files that were left out.
std::uint64_t RequireIdx(const Element& element, std::uint64_t last) {
  const std::uint64_t idx = RequireNumber(element, "idx");
  if (idx <= last) throw ServiceError(ErrorNumber::kUnusableValue, "idx out of order");
  return idx;
}

// Without what is empty.
void AppendItem(std::string& out, std::uint64_t idx, std::string_view name, std::string_view value,
                std::string_view id) {
  out += "<item";
  AppendAttribute(out, "idx", idx);
  if (!name.empty()) AppendAttribute(out, name, value);
  if (!id.empty()) AppendAttribute(out, "itemId", id);
  out += " />\r\n";
}

std::string ItemsAnswer(const std::string& items, const std::string& attributes = {}) {
  return OkAnswer(attributes, "<items>\r\n" + items + "</items>\r\n");
}

}  // namespace

std::string Api::CheckUploadItems(const Request& request) {
  std::string out;
  std::uint64_t idx = 0;
  for (const Element& element : request.method.children.front().children) {
    idx = RequireIdx(element, idx);
    const std::string album = element.Has("albumId")
                                  ? store_.RequireAlbum(request.account, element.Value("albumId"))
                                  : "";
    Item file;
    file.name = element.Value("fileName");
    file.size = RequireNumber(element, "fileSize");
    file.shotDate = element.Value("shotDate");
    file.createDate = element.Value("fileCreateDate");
    file.modifyDate = element.Value("fileModifyDate");
    const auto known = store_.FindDuplicate(request.account, file, album);
    if (IsRefusedFile(file.name))
      AppendItem(out, idx, "status", "3", "");
    else if (known)
      AppendItem(out, idx, "status", store_.IsInAlbum(album, known->id) ? "2" : "1", known->id);
    else
      AppendItem(out, idx, "status", store_.HasNamesake(request.account, file) ? "4" : "0", "");
  }
  return ItemsAnswer(out);
}

std::string Api::NegotiateUploadItems(const Request& request) {
  std::string out;
  std::uint64_t idx = 0;
  for (const Element& element : request.method.children.front().children) {
    idx = RequireIdx(element, idx);
    const auto known = store_.FindByDigest(request.account, element.Value("md5"),
                                           RequireNumber(element, "fileSize"));
    AppendItem(out, idx, "uploadComplete", known ? "true" : "false", known ? known->id : "");
  }
  std::string attributes;
  AppendAttribute(attributes, "uploadId", store_.AddUpload(request.account));
  return ItemsAnswer(out, attributes);
}

std::string Api::UploadItemsByPut(const Request&) {
  throw ServiceError(ErrorNumber::kMalformedUpload, "UploadItems is a multipart POST");
}

ExpectedUpload Api::PlanUpload(std::string_view query, std::string_view document,
                               CallReport& report) {
  const std::lock_guard lock(mutex_);
  ExpectedUpload plan;
  plan.account = CheckSession(query, "\r\n" + std::string(document), false, report);
  std::string reason;
  const auto method = ReadRequestDocument(document, reason);
  if (!method) throw ServiceError(ErrorNumber::kMalformedDocument, reason);
  CheckDocument(Endpoint::kUpload, *method);
  if (method->Has("uploadId") && !store_.KnowsUpload(plan.account, method->Value("uploadId")))
    throw ServiceError(ErrorNumber::kUnusableValue, "Unknown uploadId");
  std::uint64_t idx = 0;
  std::uint64_t total = store_.StoredBytes(plan.account);
  for (const Element& element : method->children.front().children) {
    PlannedFile file;
    file.idx = idx = RequireIdx(element, idx);
    file.rawName = element.Find("fileName")->raw;
    file.tagList = element.Value("tagList");
    file.album = store_.RequireAlbum(plan.account, element.Value("albumId"));
    file.item.id = store_.NewId('I');
    file.item.name = element.Value("fileName");
    file.item.size = RequireNumber(element, "size");
    file.item.createDate = element.Value("fileCreateDate");
    file.item.modifyDate = element.Value("fileModifyDate");
    file.item.file = store_.FilesDirectory() / file.item.id;
    total += file.item.size;
    plan.files.push_back(std::move(file));
  }
  if (total > settings_.quotaBytes) throw ServiceError(ErrorNumber::kStorageFull, "Storage full");
  return plan;
}

std::string Api::FinishUpload(ExpectedUpload& plan) {
  for (PlannedFile& file : plan.files) DescribeFile(file.item);
  const std::lock_guard lock(mutex_);
  Transaction transaction = store_.Begin();
  const std::string now = Store::Now();
  std::string out;
  std::vector<PlannedFile*> stored;
  for (PlannedFile& file : plan.files) {
    if (IsRefusedFile(file.item.name)) continue;  // not listed, so not confirmed
    file.item.uploadDate = now;
    if (file.item.modifyDate.empty()) file.item.modifyDate = file.item.uploadDate;
    // The account may have been emptied since the upload began.
    store_.RequireAlbum(plan.account, file.album);
    store_.AddItem(plan.account, file.album, file.item);
    store_.AddTags(file.item.id, file.tagList);
    stored.push_back(&file);
    AppendItem(out, file.idx, "", "", file.item.id);
  }
  transaction.Commit();
  for (PlannedFile* file : stored) file->item.file.clear();  // the store's from here on
  return ItemsAnswer(out);
}

}  // namespace kelo::devservice
