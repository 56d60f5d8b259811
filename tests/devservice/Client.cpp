// The bare client.
#include "devservice/Client.h"

#include <atomic>

#include "devservice/protocol/Digest.h"

namespace kelo::devservice {
namespace {

size_t Append(char* data, size_t size, size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

std::string NextCallId() {
  static std::atomic<std::uint64_t> last = 1'000'000;  // no two clients of a service may share one
  return std::to_string(++last);
}

}  // namespace

const std::string Client::kDeclarations =
    "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\r\n<?protocol version=\"KELO-API/XML-R/1.0\"?>\r\n";

std::string Response::Attribute(std::string_view name) const {
  const auto found = Between(body, " " + std::string(name) + "=\"", "\"");
  return found.empty() ? std::string() : found.front();
}

std::string Response::Outcome() const {
  return Attribute("stat") == "ok" ? "ok" : Attribute("errcode");
}

std::vector<std::string> Between(std::string_view text, std::string_view before,
                                 std::string_view after) {
  std::vector<std::string> found;
  std::size_t start = 0;
  while ((start = text.find(before, start)) != std::string_view::npos) {
    start += before.size();
    found.emplace_back(text.substr(start, text.find(after, start) - start));
  }
  return found;
}

Response Client::Send(const std::string& method, const std::string& url, const std::string* body,
                      const std::vector<std::string>& headers) {
  CURL* curl = curl_.get();
  curl_easy_reset(curl);
  Response response;
  curl_slist* list = curl_slist_append(nullptr, "Expect:");
  for (const std::string& header : headers) list = curl_slist_append(list, header.c_str());
  curl_easy_setopt(curl, CURLOPT_URL, url.c_str());
  curl_easy_setopt(curl, CURLOPT_CUSTOMREQUEST, method.c_str());
  curl_easy_setopt(curl, CURLOPT_HTTPHEADER, list);
  curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS, 20'000L);
  if (body) {
    curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body->size()));
    curl_easy_setopt(curl, CURLOPT_POSTFIELDS, body->c_str());
  }
  curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &Append);
  curl_easy_setopt(curl, CURLOPT_WRITEDATA, &response.body);
  curl_easy_setopt(curl, CURLOPT_HEADERFUNCTION, &Append);
  curl_easy_setopt(curl, CURLOPT_HEADERDATA, &response.head);
  response.code = curl_easy_perform(curl);
  curl_easy_getinfo(curl, CURLINFO_RESPONSE_CODE, &response.status);
  curl_slist_free_all(list);
  return response;
}

std::string Client::OpenUrl(const std::string& apiKey, const std::string& authToken) {
  const std::string query = "method=OpenSession&callId=" + NextCallId() + "&keloApiKey=" + apiKey +
                            "&keloAuthToken=" + authToken;
  return authenticationUrl_ + query + "&keloApiSig=" + Sha1Hex(secret + "?" + query);
}

void Client::Open() {
  const Response response = Send("GET", OpenUrl(apiKey_, authToken_));
  ASSERT_EQ(response.Outcome(), "ok") << response.body;
  token = response.Attribute("keloSessToken");
  manageUrl = response.Attribute("keloManageUrl");
  uploadUrl = response.Attribute("keloUploadUrl");
}

Response Client::Close() {
  const std::string query =
      "keloSessToken=" + token + "&method=CloseSession&callId=" + NextCallId();
  return Send("GET", authenticationUrl_ + query + "&keloApiSig=" + Sha1Hex(secret + "?" + query));
}

std::string Client::Query(const std::string& document) {
  const std::string query = "keloSessToken=" + token + "&callId=" + NextCallId();
  return query + "&keloApiSig=" + Sha1Hex(secret + "?" + query + "\r\n" + document);
}

Response Client::SendDocument(const std::string& document, bool upload) {
  return Send("PUT", (upload ? uploadUrl : manageUrl) + "?" + Query(document), &document);
}

Response Client::Call(const std::string& method, const std::string& attributes) {
  return SendDocument(kDeclarations + "<" + method + attributes + " />\r\n");
}

Response Client::GetHierarchy() {
  return Call(
      "GetHierarchy",
      " folderSortBy=\"ModifyDate\" folderSortOrder=\"desc\" albumSortBy=\"ModifyDate\""
      " albumSortOrder=\"desc\" sortBy=\"UploadDate\" sortOrder=\"desc\" needFileFormat=\"true\""
      " needFileName=\"true\" needOrigUrl=\"true\" needScreenUrl=\"true\" needShotDate=\"true\""
      " needUploadDate=\"true\" needModifyDate=\"true\"");
}

}  // namespace kelo::devservice
