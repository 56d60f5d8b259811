// What the tests of the HTTP layer share: a record of progress, and a
// transport with its own spool path.
#pragma once

#include <cstdlib>
#include <functional>
#include <ostream>
#include <utility>

#include "http/HTTPConnectionMac.h"
#include "http/KELOHTTPController.h"
#include "http/TransportCode.h"
#include "platform/URLLoading.h"
#include "support/TemporaryFolder.h"

namespace kelo {

// Tests write transport codes as the numbers that they are.
inline bool operator==(TransportCode code, std::uint32_t number) {
  return static_cast<std::uint32_t>(code) == number;
}
inline std::ostream& operator<<(std::ostream& out, TransportCode code) {
  return out << static_cast<std::uint32_t>(code);
}

// The peers of these tests are on loopback; a proxy of this machine has no part in them.
inline const bool kProxiesForgotten = [] {
  for (const char* name : {"http_proxy", "https_proxy", "HTTPS_PROXY", "all_proxy", "ALL_PROXY"})
    unsetenv(name);
  return true;
}();

struct Progress {
  std::string name;
  std::uint32_t done = 0;
  std::uint32_t total = 0;
  bool operator==(const Progress&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Progress& progress) {
    return out << "(\"" << progress.name << "\", " << progress.done << ", " << progress.total
               << ")";
  }
};

// Keeps the progress that it hears, of uploads and downloads.
class ProgressLog final : public KELOHTTPController {
 public:
  void Callback_UploadProgress(const std::string& name, const std::uint32_t& done,
                               const std::uint32_t& total) override {
    heard.push_back({name, done, total});
    if (reaction) reaction();
  }
  void Callback_DownloadProgress(const std::string& name, const std::uint32_t& done,
                                 const std::uint32_t& total) override {
    Callback_UploadProgress(name, done, total);
  }
  std::vector<Progress> heard;
  std::function<void()> reaction;  // at every progress
};

// A connection over the given loader, or the real one, with its progress.
struct Transport {
  explicit Transport(std::unique_ptr<URLLoader> loader = MakeURLLoader(),
                     const std::string& spool = "", std::shared_ptr<AbortSignal> signal = nullptr)
      : connection(std::make_unique<HTTPConnectionMac>(
            std::move(loader), spool.empty() ? folder.Path("spool") : spool, std::move(signal))) {
    connection.SetCallback(&progress);
  }
  // A time-out is one that a test never sees, unless it says so.
  TransportCode Get(const std::string& url, const std::string& query = "",
                    std::uint32_t timeout = 5) {
    return connection.HTTPRequestGET({.url = url, .query = query, .timeout = timeout}, response);
  }
  TransportCode Put(const std::string& url, const std::string& body, std::uint32_t timeout = 5,
                    const std::string& query = "") {
    return connection.HTTPRequestPUT({.url = url, .query = query, .body = body, .timeout = timeout},
                                     response);
  }
  TransportCode Send(const std::string& url,
                     const std::vector<tagHTTPConnection_MultipartBody>& parts,
                     std::uint32_t timeout = 5,
                     const std::vector<tagHTTPConnection_HeaderInfo>& headers = {},
                     const std::string& query = "") {
    return connection.HTTPRequestFileUpload(
        {.url = url, .query = query, .headers = headers, .parts = parts, .timeout = timeout},
        response);
  }
  TransportCode Download(const std::string& url) { return DownloadTo(url, folder.Path("f")); }
  TransportCode DownloadTo(const std::string& url, const std::string& path) {
    return connection.HTTPFileDownload({.url = url, .destPath = path, .timeout = 5}, size);
  }

  std::string response = "stale";  // the last request's
  std::uint32_t size = 99;         // the last download's
  TemporaryFolder folder;
  ProgressLog progress;
  HTTPConnection connection;
};

}  // namespace kelo
