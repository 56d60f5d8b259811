// What a program for this very job would be: libcurl's multi interface, and requests that were put
// together beforehand, from those that another client has sent.
#pragma once

#include <curl/curl.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "devservice/DevService.h"

namespace kelo::bench {

// Has a session of its own.
class Replay {
 public:
  // `proxy`: as libcurl names one; empty: none.
  explicit Replay(const devservice::Service& service, std::string proxy = {});

  // Signs the requests, which still have their bodies.
  void Prepare(std::vector<devservice::ClientRequest> requests);
  // Sends them over so many connections, and writes what a GET brings into this folder. Whether
  // the service was content with all.
  bool Send(unsigned connections = 1, const std::string& folder = {});

 private:
  struct Transfer;

  void Begin(CURLM* multi, Transfer& transfer, std::size_t at, const std::string& folder) const;
  void SetBody(CURL* easy, Transfer& transfer, std::size_t at) const;

  const devservice::Service& service_;
  const std::string proxy_;
  std::string token_;
  std::vector<devservice::ClientRequest> requests_;
  std::vector<std::string> urls_;
  int callId_ = 1;
};

}  // namespace kelo::bench
