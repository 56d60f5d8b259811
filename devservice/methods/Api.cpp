// The checks that every call passes, and the table of all methods with their attributes.
#include "devservice/methods/Api.h"

#include <algorithm>

#include "devservice/methods/Answers.h"
#include "devservice/protocol/Digest.h"
#include "devservice/protocol/ServiceError.h"
#include "devservice/protocol/Values.h"

namespace kelo::devservice {
namespace {

constexpr const char* kSignsQuery =
    "wrong: it is the SHA-1 in lower-case hexadecimal of the secret, \"?\" and the query before "
    "&keloApiSig";
constexpr const char* kSignsDocument =
    "wrong: it is the SHA-1 in lower-case hexadecimal of the secret, \"?\", the query before "
    "&keloApiSig, CR, LF and the document";

struct SignedQuery {
  std::vector<std::string> values;
  std::string text;  // what is signed of it: all but the signature
  std::string signature;
};

// A query must consist of exactly these names in this order, and of the signature.
SignedQuery ReadQuery(std::string_view query, std::initializer_list<std::string_view> names) {
  static constexpr std::string_view mark = "&keloApiSig=";
  const size_t end = query.find(mark);
  if (end == std::string_view::npos)
    throw ServiceError(ErrorNumber::kMalformedQuery, "Query without a signature");
  SignedQuery read{
      {}, std::string(query.substr(0, end)), std::string(query.substr(end + mark.size()))};
  std::string_view rest = read.text;
  for (const std::string_view name : names) {
    if (!rest.starts_with(name) || !rest.substr(name.size()).starts_with('='))
      throw ServiceError(ErrorNumber::kMalformedQuery, "Query lacks " + std::string(name));
    rest.remove_prefix(name.size() + 1);
    const size_t stop = std::min(rest.find('&'), rest.size());
    read.values.emplace_back(rest.substr(0, stop));
    rest.remove_prefix(std::min(stop + 1, rest.size()));
  }
  if (!rest.empty())
    throw ServiceError(ErrorNumber::kMalformedQuery, "Query has more than the expected parameters");
  return read;
}

std::uint64_t ReadCallId(const std::string& text) {
  const auto callId = NumberOf(text);
  if (!callId || std::to_string(*callId) != text)
    throw ServiceError(ErrorNumber::kMalformedQuery, "Call id is no number");
  return *callId;
}

void CheckSignature(const std::string& secret, const SignedQuery& query, std::string_view tail,
                    CallReport& report) {
  const bool good = Sha1Hex(secret + "?" + query.text + std::string(tail)) == query.signature;
  report.signature = good ? "ok" : tail.empty() ? kSignsQuery : kSignsDocument;
  if (!good) throw ServiceError(ErrorNumber::kWrongSignature, "Wrong signature");
}

// `rule`: the attributes in their order, a "?" behind those that may be absent.
void CheckAttributes(const Element& element, std::string_view rule) {
  auto attribute = element.attributes.begin();
  for (std::string_view name : PiecesOf(rule, ' ')) {
    const bool optional = name.ends_with('?');
    if (optional) name.remove_suffix(1);
    if (attribute != element.attributes.end() && attribute->name == name) {
      ++attribute;
    } else if (!optional) {
      throw ServiceError(ErrorNumber::kMalformedDocument,
                         element.name + " lacks " + std::string(name) + " or has it out of order");
    }
  }
  if (attribute != element.attributes.end()) {
    throw ServiceError(ErrorNumber::kMalformedDocument,
                       element.name + " has an unexpected attribute " + attribute->name);
  }
}

}  // namespace

struct Api::Rule {
  std::string_view method;
  Endpoint endpoint;
  std::string_view attributes;
  std::string_view child;  // "": self-closing; "property": directly; "item": inside <items>
  std::string_view childAttributes;
  std::string (Api::*run)(const Request&);
};

const Api::Rule Api::kRules[] = {
    {"GetUserArchiveInfo", Endpoint::kManage, "", "", "", &Api::GetUserArchiveInfo},
    {"GetHierarchy", Endpoint::kManage,
     "folderSortBy folderSortOrder albumSortBy albumSortOrder sortBy sortOrder needFileFormat"
     " needFileName needOrigUrl needScreenUrl needShotDate needUploadDate needModifyDate",
     "", "", &Api::GetHierarchy},
    {"GetForeignAlbumItems", Endpoint::kManage, "needDate", "", "", &Api::GetForeignAlbumItems},
    {"GetItemsInfo", Endpoint::kManage, "itemIdList sortBy sortOrder", "", "", &Api::GetItemsInfo},
    {"GetStorageCapacity", Endpoint::kManage, "", "", "", &Api::GetStorageCapacity},
    {"ModifyProps", Endpoint::kManage, "itemIdList", "property", "name value", &Api::ModifyProps},
    {"AddTags", Endpoint::kManage, "itemIdList tagList", "", "", &Api::AddTags},
    {"AddAlbum", Endpoint::kManage, "folderId albumName", "", "", &Api::AddAlbum},
    {"AddFolder", Endpoint::kManage, "folderName", "", "", &Api::AddFolder},
    {"AddItemsToAlbum", Endpoint::kManage, "albumId itemIdList", "", "", &Api::AddItemsToAlbum},
    {"VerifyRecipients", Endpoint::kManage, "recipientList", "", "", &Api::VerifyRecipients},
    {"GetAddressList", Endpoint::kManage, "", "", "", &Api::GetAddressList},
    {"ShareAlbum", Endpoint::kManage, "albumId recipientList subjectText bodyText removeGPSInfo",
     "", "", &Api::ShareAlbum},
    {"CheckUploadItems", Endpoint::kUpload, "", "item",
     "idx fileName fileSize shotDate? fileCreateDate? fileModifyDate? albumId?",
     &Api::CheckUploadItems},
    {"NegotiateUploadItems", Endpoint::kUpload, "", "item",
     "idx fileName fileSize fileDate resolution? md5", &Api::NegotiateUploadItems},
    {"UploadItems", Endpoint::kUpload, "uploadId?", "item",
     "idx fileName size fileCreateDate? fileModifyDate? albumId? tagList?", &Api::UploadItemsByPut},
};

std::vector<std::string_view> Api::MethodNames() {
  std::vector<std::string_view> names{"OpenSession", "CloseSession", "Download"};
  for (const Rule& rule : kRules) names.push_back(rule.method);
  return names;
}

void CallReport::Fail(const ServiceError& error) {
  answer = FailAnswer(error);
  errorCode = error.Number();
  errorText = error.what();
}

CallReport Api::Authenticate(std::string_view query) {
  const std::lock_guard lock(mutex_);
  CallReport report;
  try {
    report.answer =
        query.starts_with("method=") ? OpenSession(query, report) : CloseSession(query, report);
  } catch (const ServiceError& error) {
    report.Fail(error);
  }
  return report;
}

std::string Api::OpenSession(std::string_view text, CallReport& report) {
  const SignedQuery query = ReadQuery(text, {"method", "callId", "keloApiKey", "keloAuthToken"});
  const std::string& method = query.values[0];
  const std::string& callId = query.values[1];
  const std::string& apiKey = query.values[2];
  const std::string& authToken = query.values[3];
  if (method != "OpenSession") throw ServiceError(ErrorNumber::kUnknownMethod, "Unknown method");
  if (apiKey != store_.ApiKey()) throw ServiceError(ErrorNumber::kUnknownApiKey, "Unknown API key");
  const auto account = store_.FindByAuthToken(authToken);
  if (!account) throw ServiceError(ErrorNumber::kUnknownAuthToken, "Unknown authentication token");
  const std::uint64_t id = ReadCallId(callId);
  CheckSignature(account->secret, query, "", report);
  store_.UseCallId("account " + account->authToken, id);
  std::string attributes;
  AppendAttribute(attributes, "keloSessToken",
                  store_.OpenSession(account->account, settings_.tokenLifetime));
  AppendAttribute(attributes, "keloUploadUrl", settings_.baseUrl + std::string(kUploadPath));
  AppendAttribute(attributes, "keloManageUrl", settings_.baseUrl + std::string(kManagePath));
  AppendAttribute(attributes, "keloDownloadUrl", DownloadUrl());
  return OkAnswer(attributes);
}

std::string Api::CloseSession(std::string_view text, CallReport& report) {
  const SignedQuery query = ReadQuery(text, {"keloSessToken", "method", "callId"});
  if (query.values[1] != "CloseSession")
    throw ServiceError(ErrorNumber::kUnknownMethod, "Unknown method");
  CheckSession(text, "", true, report);
  store_.CloseSession(query.values[0]);
  return OkAnswer();
}

AccountId Api::CheckSession(std::string_view text, std::string_view signedTail, bool closing,
                            CallReport& report) {
  const SignedQuery query = closing ? ReadQuery(text, {"keloSessToken", "method", "callId"})
                                    : ReadQuery(text, {"keloSessToken", "callId"});
  const std::string& token = query.values.front();
  const AccountId account = store_.AccountOfSession(token);
  const std::uint64_t callId = ReadCallId(query.values.back());
  CheckSignature(store_.Find(account).secret, query, signedTail, report);
  store_.UseCallId(token, callId);
  store_.UseSession(token, settings_.tokenLifetime);
  return account;
}

bool Api::KnowsSession(std::string_view query) {
  static constexpr std::string_view name = "keloSessToken=";
  if (!query.starts_with(name)) return false;
  query.remove_prefix(name.size());
  const std::lock_guard lock(mutex_);
  return store_.KnowsSession(query.substr(0, query.find('&')));
}

const Api::Rule& Api::CheckDocument(Endpoint endpoint, const Element& method) {
  const Rule* rule = std::ranges::find(kRules, method.name, &Rule::method);
  if (rule == std::end(kRules) || rule->endpoint != endpoint)
    throw ServiceError(ErrorNumber::kUnknownMethod, "Unknown method " + method.name);
  CheckAttributes(method, rule->attributes);
  const bool isEmpty = rule->child.empty();
  if (method.selfClosing != isEmpty) {
    throw ServiceError(
        ErrorNumber::kMalformedDocument,
        method.name + (isEmpty ? " must be an empty element" : " must have content"));
  }
  const std::vector<Element>* children = &method.children;
  if (rule->child == "item") {
    if (children->size() != 1 || children->front().name != "items" ||
        !children->front().attributes.empty() || children->front().selfClosing) {
      throw ServiceError(ErrorNumber::kMalformedDocument,
                         method.name + " lacks its one items element");
    }
    children = &children->front().children;
  }
  for (const Element& child : *children) {
    if (child.name != rule->child || !child.selfClosing)
      throw ServiceError(ErrorNumber::kMalformedDocument, "Unexpected element " + child.name);
    CheckAttributes(child, rule->childAttributes);
  }
  return *rule;
}

CallReport Api::Call(Endpoint endpoint, std::string_view query, std::string_view document) {
  const std::lock_guard lock(mutex_);
  CallReport report;
  try {
    const AccountId account = CheckSession(query, "\r\n" + std::string(document), false, report);
    std::string reason;
    const auto method = ReadRequestDocument(document, reason);
    if (!method) throw ServiceError(ErrorNumber::kMalformedDocument, reason);
    const Rule& rule = CheckDocument(endpoint, *method);
    Transaction transaction = store_.Begin();
    report.answer = (this->*rule.run)({account, *method});
    transaction.Commit();
  } catch (const ServiceError& error) {
    report.Fail(error);
  }
  return report;
}

std::filesystem::path Api::FileOf(std::string_view path) {
  for (const std::string_view kind : {"/original/", "/screen/"}) {
    const std::string prefix = std::string(kDownloadPath) + std::string(kind);
    if (!path.starts_with(prefix)) continue;
    const std::lock_guard lock(mutex_);
    const auto item = store_.FindItem(path.substr(prefix.size()));
    std::error_code error;
    if (item && std::filesystem::is_regular_file(item->file, error)) return item->file;
  }
  return {};
}

}  // namespace kelo::devservice
