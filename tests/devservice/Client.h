// A bare client of the service: libcurl, and queries that a test may spoil.
#pragma once

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "devservice/DevService.h"
#include "devservice/protocol/Digest.h"

namespace kelo::devservice {

// The text behind every occurrence of `before`, up to `after`.
inline std::vector<std::string> Between(std::string_view text, std::string_view before,
                                        std::string_view after) {
  std::vector<std::string> found;
  std::size_t start = 0;
  while ((start = text.find(before, start)) != std::string_view::npos) {
    start += before.size();
    found.emplace_back(text.substr(start, text.find(after, start) - start));
  }
  return found;
}

struct Response {
  CURLcode code = CURLE_OK;
  long status = 0;
  std::string head;
  std::string body;

  // An attribute of the answer; empty when absent.
  std::string Attribute(std::string_view name) const {
    const auto found = Between(body, " " + std::string(name) + "=\"", "\"");
    return found.empty() ? std::string() : found.front();
  }
  // "ok", or the error number.
  std::string Outcome() const { return Attribute("stat") == "ok" ? "ok" : Attribute("errcode"); }
};

class Client {
 public:
  explicit Client(const Service& service)
      : Client(service, Service::Account{"", service.AuthToken(), service.Secret()}) {}
  Client(const Service& service, const Service::Account& account)
      : Client(service.Url(), service.ApiKey(), account) {}
  Client(const std::string& url, const std::string& apiKey, const Service::Account& account)
      : secret(account.secret),
        authenticationUrl_(url + "/P2PwebCmdController/api-auth?"),
        apiKey_(apiKey),
        authToken_(account.authToken) {}

  Response Send(const std::string& method, const std::string& url,
                const std::string* body = nullptr, const std::vector<std::string>& headers = {}) {
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

  // Opens a session, which the calls below use.
  void Open() {
    const Response response = Send("GET", OpenUrl(apiKey_, authToken_));
    ASSERT_EQ(response.Outcome(), "ok") << response.body;
    token = response.Attribute("keloSessToken");
    manageUrl = response.Attribute("keloManageUrl");
    uploadUrl = response.Attribute("keloUploadUrl");
  }
  std::string OpenUrl(const std::string& apiKey, const std::string& authToken) {
    const std::string query = "method=OpenSession&callId=" + NextCallId() +
                              "&keloApiKey=" + apiKey + "&keloAuthToken=" + authToken;
    return authenticationUrl_ + query + "&keloApiSig=" + Sha1Hex(secret + "?" + query);
  }
  Response Close() {
    const std::string query =
        "keloSessToken=" + token + "&method=CloseSession&callId=" + NextCallId();
    return Send("GET", authenticationUrl_ + query + "&keloApiSig=" + Sha1Hex(secret + "?" + query));
  }

  // A self-closing method element.
  Response Call(const std::string& method, const std::string& attributes = {}) {
    return SendDocument(kDeclarations + "<" + method + attributes + " />\r\n");
  }
  // Any document, to the manage URL (upload == false) or the upload URL.
  Response SendDocument(const std::string& document, bool upload = false) {
    return Send("PUT", (upload ? uploadUrl : manageUrl) + "?" + Query(document), &document);
  }
  // The query for a document.
  std::string Query(const std::string& document) {
    const std::string query = "keloSessToken=" + token + "&callId=" + NextCallId();
    return query + "&keloApiSig=" + Sha1Hex(secret + "?" + query + "\r\n" + document);
  }
  Response GetHierarchy(
      const std::string& order =
          " folderSortBy=\"ModifyDate\" folderSortOrder=\"desc\" albumSortBy=\"ModifyDate\""
          " albumSortOrder=\"desc\" sortBy=\"UploadDate\" sortOrder=\"desc\"") {
    return Call("GetHierarchy",
                order +
                    " needFileFormat=\"true\" needFileName=\"true\" needOrigUrl=\"true\""
                    " needScreenUrl=\"true\" needShotDate=\"true\" needUploadDate=\"true\""
                    " needModifyDate=\"true\"");
  }

  static inline const std::string kDeclarations =
      "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\r\n<?protocol "
      "version=\"KELO-API/XML-R/1.0\"?>\r\n";
  std::string token;
  std::string manageUrl;
  std::string uploadUrl;
  std::string secret;

 private:
  static size_t Append(char* data, size_t size, size_t count, void* text) {
    static_cast<std::string*>(text)->append(data, size * count);
    return size * count;
  }

  static std::string NextCallId() {
    static std::atomic<std::uint64_t> last =
        1'000'000;  // no two clients of a service may share one
    return std::to_string(++last);
  }

  std::string authenticationUrl_;
  std::string apiKey_;
  std::string authToken_;
  std::unique_ptr<CURL, void (*)(CURL*)> curl_{curl_easy_init(), &curl_easy_cleanup};
};

// A service, and a client with a session.
struct ServiceTest : testing::Test {
  explicit ServiceTest(const Service::Options& options = {}) : service(options) { client.Open(); }
  Service service;
  Client client{service};
};

}  // namespace kelo::devservice
