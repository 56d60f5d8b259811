// The loader: the handles that serve one request after another, and when they are made new.
#include "platform/URLLoading.h"

#include <unistd.h>

#include <new>
#include <utility>

#include "platform/CDSAUtility.h"
#include "platform/Environment.h"
#include "platform/URLLoadingConnection.h"

namespace kelo {
namespace {

constexpr long kMaxIdleConnections = 4;

// Prepares libcurl, once for each loader. Never undone: resolver threads of requests that were
// given up may still use the library.
void StartCurl() {
  if (!CDSAUtilityBase::cssmStartup()) throw std::bad_alloc();
  // libcurl would open the file that this names, with the rights of the program.
  if (HasMoreRightsThanCaller()) unsetenv("SSLKEYLOGFILE");
  CheckCurl(curl_global_init(CURL_GLOBAL_DEFAULT));
}

CurlMulti MakeMulti() {
  CurlMulti multi(curl_multi_init());
  if (!multi) throw std::bad_alloc();
  CheckCurl(curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, kMaxIdleConnections));
  return multi;
}

std::shared_ptr<CURLSH> MakeShare() {
  CurlShare share(curl_share_init());
  if (!share) throw std::bad_alloc();
  CheckCurl(curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION));
  return std::shared_ptr<CURLSH>(std::move(share));
}

class CurlLoader final : public URLLoader {
 public:
  CurlLoader() {
    StartCurl();
    handles_.share = MakeShare();
    handles_.multi = MakeMulti();
  }
  CurlLoader(const CurlLoader&) = delete;
  CurlLoader& operator=(const CurlLoader&) = delete;
  ~CurlLoader() override { LeaveToParent(); }

  std::unique_ptr<URLConnection> Start(const URLRequest& request,
                                       URLConnectionDelegate& delegate) override {
    LeaveToParent();
    if (!handles_.share) handles_.share = MakeShare();
    handles_.process = getpid();
    if (!handles_.multi || handles_.suspect) handles_.multi = MakeMulti();
    handles_.suspect = false;
    return std::make_unique<CurlConnection>(handles_, request, delegate);
  }

  void RunSlice(std::chrono::milliseconds slice) override {
    if (handles_.current != nullptr) return handles_.current->Advance(slice);
    CheckCurl(curl_multi_poll(handles_.multi.get(), nullptr, 0, static_cast<int>(slice.count()),
                              nullptr));
  }

 private:
  // What the parent was using stays where it is.
  void LeaveToParent() {
    if (!handles_.CloseInherited()) return;
    static_cast<void>(handles_.multi.release());
    handles_.share.reset();
  }

  CurlHandles handles_;
};

}  // namespace

bool CurlHandles::CloseInherited() {
  if (getpid() == process) return false;
  sockets.CloseAll();
  return true;
}

std::unique_ptr<URLLoader> MakeURLLoader() {
  return std::make_unique<CurlLoader>();
}

}  // namespace kelo
