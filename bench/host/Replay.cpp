// Keeps a window of easy handles busy until all requests are answered.
#include "host/Replay.h"

#include <algorithm>
#include <utility>

#include "devservice/protocol/Digest.h"

namespace kelo::bench {
namespace {

using devservice::ClientRequest;

template <typename Handle, typename Result>
using Owned = std::unique_ptr<Handle, Result (*)(Handle*)>;

size_t Keep(char* data, size_t size, size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

// The part of a request that is signed: its body, or the first part of that.
std::string Document(const ClientRequest& request) {
  if (request.verb == "PUT") return request.body;
  const std::size_t begin = request.body.find("\r\n\r\n") + 4;
  return request.body.substr(begin, request.body.find("\r\n--BOUNDARY", begin) - begin);
}

}  // namespace

// One of the window, from one request to the next.
struct Replay::Transfer {
  Owned<CURL, void> easy{curl_easy_init(), &curl_easy_cleanup};
  Owned<curl_slist, void> headers{nullptr, &curl_slist_free_all};
  Owned<std::FILE, int> file{nullptr, &std::fclose};
  std::string answer;

  bool IsOk(CURLcode result) {
    const bool toFile = file != nullptr;
    const bool written = !toFile || std::fclose(file.release()) == 0;
    return result == CURLE_OK && written &&
           (toFile || answer.find("stat=\"ok\"") != std::string::npos);
  }
};

Replay::Replay(const devservice::Service& service, std::string proxy)
    : service_(service), proxy_(std::move(proxy)) {
  const Transfer opening;
  std::string answer;
  CURL* const easy = opening.easy.get();
  const std::string query = "method=OpenSession&callId=1&keloApiKey=" + service.ApiKey() +
                            "&keloAuthToken=" + service.AuthToken();
  const std::string url = service.Url() + "/P2PwebCmdController/api-auth?" + query +
                          "&keloApiSig=" + devservice::Sha1Hex(service.Secret() + "?" + query);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Keep);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &answer);
  curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
  curl_easy_perform(easy);
  const std::string name = "keloSessToken=\"";
  const std::size_t begin = answer.find(name) + name.size();
  token_ = answer.substr(begin, answer.find('"', begin) - begin);
}

void Replay::Prepare(std::vector<ClientRequest> requests) {
  requests_ = std::move(requests);
  urls_.clear();
  for (const ClientRequest& request : requests_) {
    std::string& url = urls_.emplace_back(service_.Url() + request.path);
    if (request.verb == "GET") continue;
    const std::string query = "keloSessToken=" + token_ + "&callId=" + std::to_string(++callId_);
    url += "?" + query + "&keloApiSig=" +
           devservice::Sha1Hex(service_.Secret() + "?" + query + "\r\n" + Document(request));
  }
}

bool Replay::Send(unsigned connections, const std::string& folder) {
  const Owned<CURLM, CURLMcode> multi(curl_multi_init(), &curl_multi_cleanup);
  std::vector<Transfer> window(std::min<std::size_t>(connections, requests_.size()));
  std::size_t begun = 0;
  for (Transfer& transfer : window) Begin(multi.get(), transfer, begun++, folder);
  std::size_t good = 0;
  for (std::size_t ended = 0; ended < requests_.size();) {
    int count = 0;
    curl_multi_perform(multi.get(), &count);
    while (const CURLMsg* const message = curl_multi_info_read(multi.get(), &count)) {
      const auto transfer = std::ranges::find(window, message->easy_handle,
                                              [](const Transfer& one) { return one.easy.get(); });
      const CURLcode result = message->data.result;
      curl_multi_remove_handle(multi.get(), transfer->easy.get());
      good += transfer->IsOk(result) ? 1 : 0;
      ++ended;
      if (begun < requests_.size()) Begin(multi.get(), *transfer, begun++, folder);
    }
    if (ended < requests_.size()) curl_multi_poll(multi.get(), nullptr, 0, 1000, nullptr);
  }
  return !requests_.empty() && good == requests_.size();
}

void Replay::Begin(CURLM* multi, Transfer& transfer, std::size_t at,
                   const std::string& folder) const {
  CURL* const easy = transfer.easy.get();
  curl_easy_reset(easy);
  curl_easy_setopt(easy, CURLOPT_URL, urls_[at].c_str());
  curl_easy_setopt(easy, CURLOPT_PROXY, proxy_.c_str());
  curl_easy_setopt(easy, CURLOPT_FAILONERROR, 1L);
  if (requests_[at].verb == "GET") {
    transfer.file.reset(std::fopen((folder + "/" + std::to_string(at)).c_str(), "wb"));
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, transfer.file.get());
  } else {
    SetBody(easy, transfer, at);
  }
  curl_multi_add_handle(multi, easy);
}

void Replay::SetBody(CURL* easy, Transfer& transfer, std::size_t at) const {
  const ClientRequest& request = requests_[at];
  const std::string type = "Content-Type: " + request.Header("Content-Type");
  transfer.headers.reset(curl_slist_append(curl_slist_append(nullptr, "Expect:"), type.c_str()));
  transfer.answer.clear();
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Keep);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &transfer.answer);
  curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.verb.c_str());
  curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(request.body.size()));
  curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, transfer.headers.get());
}

}  // namespace kelo::bench
