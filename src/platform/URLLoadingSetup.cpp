// What libcurl is told of a request: headers, options, method and body.
#include <strings.h>

#include <algorithm>
#include <climits>
#include <new>
#include <string>

#include "platform/URLLoadingConnection.h"

namespace kelo {
namespace {

constexpr long kOldestReusedConnection = 20;  // seconds; an older one has probably been closed
constexpr long kReceiveBufferSize = 65536;
constexpr long kSendBufferSize = 524288;
constexpr uint64_t kMaxBytesSentAtOnce = 65536;

}  // namespace

bool CurlConnection::HasHeader(std::string_view name) const {
  return std::ranges::any_of(
      request_.headers,
      [&](const URLHeader& header) {
        return header.name.size() == name.size() &&
               strncasecmp(header.name.data(), name.data(), name.size()) == 0;
      });
}

bool CurlConnection::HeadersAreSendable() const {
  const std::string_view lineEnds("\r\n\0", 3);
  return std::ranges::none_of(request_.headers, [&](const URLHeader& header) {
    return header.name.empty() || header.name.find_first_of(lineEnds) != std::string::npos ||
           header.value.find_first_of(lineEnds) != std::string::npos;
  });
}

CurlList CurlConnection::MakeHeaders() const {
  CurlList list;
  const auto append = [&list](const std::string& line) {
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(list.release());
    list.reset(longer);
  };
  // A name with nothing behind its colon takes away a header that libcurl would add.
  append("Expect:");
  if (!HasHeader("Content-Type")) append("Content-Type:");
  for (const URLHeader& header : request_.headers)
    append(header.value.empty() ? header.name + ";" : header.name + ": " + header.value);
  return list;
}

void CurlConnection::SetOptions() {
  CURL* easy = hop_->easy.get();
  void* const hop = hop_.get();
  SetCurlOption<CURLOPT_SHARE>(easy, handles_.share.get());
  SetCurlOption<CURLOPT_ERRORBUFFER>(easy, hop_->words.data());
  SetCurlOption<CURLOPT_URL>(easy, url_.c_str());
  SetCurlOption<CURLOPT_PROTOCOLS_STR>(easy, "http,https");
  SetCurlOption<CURLOPT_HTTP_VERSION>(easy, static_cast<long>(CURL_HTTP_VERSION_1_1));
  const std::string proxy = ProxyFor(url_, scheme_);
  hop_->proxied = !proxy.empty();
  SetCurlOption<CURLOPT_PROXY>(easy, proxy.c_str());
  const bool socks = strncasecmp(proxy.c_str(), "socks", 5) == 0;  // which carries bytes unread
  const bool forProxy = hop_->proxied && !socks && scheme_ == URLScheme::HTTP;
  SetCurlOption<CURLOPT_REQUEST_TARGET>(easy, RequestTarget(url_, forProxy).c_str());
  SetCurlOption<CURLOPT_NOPROXY>(easy, "");  // ProxyFor has looked
  SetCurlOption<CURLOPT_SUPPRESS_CONNECT_HEADERS>(easy, 1L);
  SetCurlOption<CURLOPT_NOSIGNAL>(easy, 1L);
  SetCurlOption<CURLOPT_QUICK_EXIT>(easy, 1L);  // giving up never waits for the resolver
  SetCurlOption<CURLOPT_MAXAGE_CONN>(easy, kOldestReusedConnection);
  SetCurlOption<CURLOPT_FRESH_CONNECT>(easy, request_.freshConnection ? 1L : 0L);
  // Spreads the time over a host's addresses. A lookup that takes too long is given up here, not by
  // libcurl, which wouldn't keep it.
  SetCurlOption<CURLOPT_CONNECTTIMEOUT>(
      easy, static_cast<long>(std::min<uint32_t>(request_.timeout, INT_MAX / 1000 - 1)) + 1);
  SetCurlOption<CURLOPT_BUFFERSIZE>(easy, kReceiveBufferSize);
  SetCurlOption<CURLOPT_HTTPHEADER>(easy, hop_->headers.get());
  if (!HasHeader("Accept-Encoding")) SetCurlOption<CURLOPT_ACCEPT_ENCODING>(easy, "gzip");
  SetCurlOption<CURLOPT_HEADERFUNCTION>(easy, &HeaderCallback);
  SetCurlOption<CURLOPT_HEADERDATA>(easy, hop);
  SetCurlOption<CURLOPT_WRITEFUNCTION>(easy, &DataCallback);
  SetCurlOption<CURLOPT_WRITEDATA>(easy, hop);
  SetCurlOption<CURLOPT_PREREQFUNCTION>(easy, &SendingCallback);
  SetCurlOption<CURLOPT_PREREQDATA>(easy, hop);
  SetCurlOption<CURLOPT_RESOLVER_START_FUNCTION>(easy, &LookupCallback);
  SetCurlOption<CURLOPT_RESOLVER_START_DATA>(easy, hop);
  SetCurlOption<CURLOPT_SOCKOPTFUNCTION>(easy, &SocketCallback);
  SetCurlOption<CURLOPT_SOCKOPTDATA>(easy, hop);
}

void CurlConnection::SetMethodAndBody() {
  CURL* easy = hop_->easy.get();
  void* const hop = hop_.get();
  if (request_.method == "GET") {
    SetCurlOption<CURLOPT_HTTPGET>(easy, 1L);
    return;
  }
  const auto* bytes = std::get_if<std::string_view>(&request_.body);
  if (bytes != nullptr && !bytes->empty() && bytes->size() <= kMaxBytesSentAtOnce) {
    // Together with the head, so that the peer has it all at once; it counts as gone from now on.
    SetCurlOption<CURLOPT_POSTFIELDSIZE_LARGE>(easy, static_cast<curl_off_t>(bytes->size()));
    SetCurlOption<CURLOPT_POSTFIELDS>(easy, bytes->data());
    SetCurlOption<CURLOPT_CUSTOMREQUEST>(easy, request_.method.c_str());
    hop_->bodyRead = bodyLength_;
    return;
  }
  if (request_.method == "POST") {
    SetCurlOption<CURLOPT_POST>(easy, 1L);
    SetCurlOption<CURLOPT_POSTFIELDSIZE_LARGE>(easy, static_cast<curl_off_t>(bodyLength_));
  } else {
    SetCurlOption<CURLOPT_UPLOAD>(easy, 1L);
    SetCurlOption<CURLOPT_INFILESIZE_LARGE>(easy, static_cast<curl_off_t>(bodyLength_));
    SetCurlOption<CURLOPT_CUSTOMREQUEST>(easy, request_.method.c_str());
  }
  if (bodyLength_ > kSendBufferSize)
    SetCurlOption<CURLOPT_UPLOAD_BUFFERSIZE>(easy, kSendBufferSize);
  SetCurlOption<CURLOPT_READFUNCTION>(easy, &BodyCallback);
  SetCurlOption<CURLOPT_READDATA>(easy, hop);
  SetCurlOption<CURLOPT_SEEKFUNCTION>(easy, &RewindCallback);
  SetCurlOption<CURLOPT_SEEKDATA>(easy, hop);
}

}  // namespace kelo
