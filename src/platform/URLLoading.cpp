// The loader: the handles that serve one request after another, and when they are made new.
#include "platform/URLLoading.h"

#include <unistd.h>

#include <cstdlib>
#include <mutex>
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

CurlShare MakeShare() {
  CurlShare share(curl_share_init());
  if (!share) throw std::bad_alloc();
  CheckCurl(curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION));
  return share;
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
    if (LeaveToParent()) {
      process_ = getpid();
      handles_.share = MakeShare();
    }
    if (!handles_.multi || handles_.suspect) RenewMulti();
    return std::make_unique<CurlConnection>(handles_, request, delegate);
  }

  void RunSlice(std::chrono::milliseconds slice) override {
    if (handles_.current != nullptr) return handles_.current->Advance(slice);
    CheckCurl(curl_multi_poll(handles_.multi.get(), nullptr, 0, static_cast<int>(slice.count()),
                              nullptr));
  }

  void WakeUp() override {
    const std::lock_guard lock(multiLock_);
    if (handles_.multi) curl_multi_wakeup(handles_.multi.get());
  }

 private:
  void RenewMulti() {
    CurlMulti multi = MakeMulti();
    {
      const std::lock_guard lock(multiLock_);
      std::swap(handles_.multi, multi);
    }
    handles_.suspect = false;
  }

  // In a process that was forked off, the connections are the parent's: closing them properly
  // would say good-bye in its name. Their descriptors go, the handles are left where they are.
  bool LeaveToParent() {
    if (getpid() == process_) return false;
    handles_.sockets.CloseAll();
    static_cast<void>(handles_.multi.release());
    static_cast<void>(handles_.share.release());
    return true;
  }

  pid_t process_ = getpid();
  CurlHandles handles_;
  std::mutex multiLock_;  // between WakeUp, which comes from any thread, and a new multi handle
};

}  // namespace

std::unique_ptr<URLLoader> MakeURLLoader() {
  return std::make_unique<CurlLoader>();
}

}  // namespace kelo
