// A bare client of the service: libcurl, and queries that a test may spoil.
#pragma once

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "devservice/DevService.h"

namespace kelo::devservice {

struct Response {
  CURLcode code = CURLE_OK;
  long status = 0;
  std::string head;
  std::string body;

  // An attribute of the answer; empty when absent.
  std::string Attribute(std::string_view name) const;
  // "ok", or the error number.
  std::string Outcome() const;
};

// The text behind every occurrence of `before`, up to `after`.
std::vector<std::string> Between(std::string_view text, std::string_view before,
                                 std::string_view after);

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
                const std::string* body = nullptr, const std::vector<std::string>& headers = {});

  void Open();  // opens a session, which the calls below use
  std::string OpenUrl(const std::string& apiKey, const std::string& authToken);
  Response Close();

  // A self-closing method element.
  Response Call(const std::string& method, const std::string& attributes = {});
  // Any document, to the manage URL (upload == false) or the upload URL.
  Response SendDocument(const std::string& document, bool upload = false);
  // The query for a document.
  std::string Query(const std::string& document);
  Response GetHierarchy();

  static const std::string kDeclarations;
  std::string token;
  std::string manageUrl;
  std::string uploadUrl;
  std::string secret;

 private:
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
