// A bare client of the service: libcurl, queries and uploads that a test may spoil, and a raw
// connection for what no HTTP client would do.
#pragma once

#include <curl/curl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <atomic>
#include <cerrno>

#include "devservice/DevService.h"
#include "devservice/files/Descriptor.h"
#include "devservice/protocol/Digest.h"

namespace kelo::devservice {

// The text behind every occurrence of `before`, up to `after`.
inline std::vector<std::string> Between(std::string_view text, std::string_view before,
                                        std::string_view after) {
  std::vector<std::string> found;
  size_t start = 0;
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
  Response ItemInfo(const std::string& id) {
    return Call("GetItemsInfo",
                " itemIdList=\"" + id + "\" sortBy=\"UploadDate\" sortOrder=\"desc\"");
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

// The multipart body of an upload, made the plain way.
struct File {
  std::string name;
  std::string bytes;
  std::string more =
      " fileCreateDate=\"2026:01:01 10:00:00\" fileModifyDate=\"2026:01:02 11:00:00\"";
};

// The pieces of an upload, each of which a test can spoil.
struct Upload {
  std::string document;
  std::string body;
};

inline Upload MakeUpload(const std::vector<File>& files,
                         const std::string& opening = "<UploadItems>") {
  Upload upload;
  upload.document = Client::kDeclarations + opening + "\r\n<items>\r\n";
  std::string parts;
  for (size_t i = 0; i < files.size(); ++i) {
    upload.document += "<item idx=\"" + std::to_string(i + 1) + "\" fileName=\"" + files[i].name +
                       "\" size=\"" + std::to_string(files[i].bytes.size()) + "\"" + files[i].more +
                       " />\r\n";
    parts += "\r\n--BOUNDARY\r\nContent-Disposition: form-data; name=\"" + files[i].name +
             "\"\r\nContent-Type: application/octet-stream\r\nContent-Transfer-Encoding: "
             "binary\r\n\r\n" +
             files[i].bytes;
  }
  upload.document += "</items>\r\n</UploadItems>\r\n";
  upload.body =
      "--BOUNDARY\r\nContent-Disposition: form-data; name=\"XML\"\r\n"
      "Content-Type: text/plain; charset=UTF-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" +
      upload.document + parts + "\r\n--BOUNDARY--\r\n";
  return upload;
}

inline Response Post(Client& client, const Upload& upload,
                     const std::string& type = "multipart/form-data; boundary=BOUNDARY") {
  return client.Send("POST", client.uploadUrl + "?" + client.Query(upload.document), &upload.body,
                     {"Content-Type: " + type});
}

// The same as it travels.
inline std::string PostText(Client& client, const Upload& upload) {
  return "POST /P2PwebCmdController/api-upload?" + client.Query(upload.document) +
         " HTTP/1.1\r\nContent-Type: multipart/form-data; boundary=BOUNDARY\r\nContent-Length: " +
         std::to_string(upload.body.size()) + "\r\n\r\n" + upload.body;
}

inline int PortOf(const std::string& url) {
  return std::stoi(url.substr(url.rfind(':') + 1));
}

// The token of the page and of the calls under /control/.
inline std::string PageToken(const Service& service) {
  const std::string url = service.PageUrl();
  return url.substr(url.find('=') + 1);
}

class Peer {
 public:
  explicit Peer(const Service& service) : Peer(service.Url()) {}
  explicit Peer(const std::string& url)
      : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval limit{60, 0};
    setsockopt(socket_.Get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(PortOf(url)));
    connected_ = connect(socket_.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
  }

  bool Connected() const { return connected_; }

  // False where the service has left.
  bool Send(std::string_view bytes) const {
    return send(socket_.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
           static_cast<ssize_t>(bytes.size());
  }

  // Whether the service has closed.
  bool Ended() const {
    char byte;
    const ssize_t size = recv(socket_.Get(), &byte, 1, 0);
    return size == 0 || (size < 0 && errno == ECONNRESET);
  }
  // Nothing more is sent.
  void Finish() const { shutdown(socket_.Get(), SHUT_WR); }

  // What has come when the service closes, or until `end` has come.
  std::string Receive(std::string_view end = {}) const {
    std::string received;
    char bytes[4096];
    while (end.empty() || received.find(end) == std::string::npos) {
      const ssize_t size = recv(socket_.Get(), bytes, sizeof bytes, 0);
      if (size <= 0) break;
      received.append(bytes, static_cast<size_t>(size));
    }
    return received;
  }

 private:
  Descriptor socket_;
  bool connected_ = false;
};

// A service, and a client with a session.
struct ServiceTest : testing::Test {
  explicit ServiceTest(const Service::Options& options = {}) : service(options) { client.Open(); }
  Service service;
  Client client{service};
};

}  // namespace kelo::devservice
