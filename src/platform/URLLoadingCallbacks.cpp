// What libcurl asks and tells while a request is under way. It calls from C, so what an event
// throws is kept until libcurl has returned.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/URLLoadingConnection.h"

namespace kelo {
namespace {

constexpr size_t kMaxHeadBytes = size_t{300} << 10;

// Reads some bytes at a position; -1 on failure or at the end of the file.
ssize_t ReadAt(int descriptor, char* buffer, size_t size, uint64_t position) {
  ssize_t got;
  do {
    got = pread(descriptor, buffer, size, static_cast<off_t>(position));
  } while (got < 0 && errno == EINTR);
  return got > 0 ? got : -1;
}

bool IsRedirect(long status) {
  constexpr long statuses[] = {301, 302, 303, 307, 308};
  return std::ranges::find(statuses, status) != std::end(statuses);
}

}  // namespace

size_t CurlConnection::OnHeaderLine(std::string_view line) {
  CurlHop& hop = *hop_;
  if (hop.headBytes == 0) hop.answerBegan = CurlHop::Clock::now();
  hop.headBytes += line.size();
  hop.headTooLong = hop.headBytes > kMaxHeadBytes;
  if (ended_ || hop.headTooLong) return 0;
  const bool endsHead = line == "\r\n" || line == "\n";
  if (!endsHead || hop.headComplete) return line.size();  // what follows the body are trailers
  CURL* easy = hop.easy.get();
  const long status = GetCurlInfo<CURLINFO_RESPONSE_CODE>(easy, 0L);
  if (status / 100 == 1 && status != 101) return line.size();  // an answer is still to come
  hop.headComplete = true;
  hop.redirecting = request_.method == "GET" && IsRedirect(status) && !LocationOf(easy).empty();
  if (!hop.redirecting) return line.size();
  // The body of a redirect may have no end. Without one the connection can serve the next hop.
  const char* length = FindCurlHeader(easy, "Content-Length");
  return length != nullptr && std::string_view(length) == "0" ? line.size() : 0;
}

size_t CurlConnection::OnData(const char* data, size_t size) {
  if (ended_) return CURL_WRITEFUNC_ERROR;
  try {
    if (!hop_->responded) Respond();
    if (!ended_) delegate_.DidReceiveData(std::string_view(data, size));
  } catch (...) {
    thrown_ = std::current_exception();
    ended_ = true;
  }
  return ended_ ? CURL_WRITEFUNC_ERROR : size;
}

size_t CurlConnection::OnBodyWanted(char* buffer, size_t size) {
  if (ended_) return CURL_READFUNC_ABORT;
  uint64_t& bodyRead = hop_->bodyRead;
  const auto wanted = static_cast<size_t>(std::min<uint64_t>(size, bodyLength_ - bodyRead));
  if (wanted == 0) return 0;
  size_t got = wanted;
  if (const auto* file = std::get_if<URLFileBody>(&request_.body)) {
    const ssize_t count = ReadAt(file->descriptor, buffer, wanted, bodyRead);
    if (count < 0) return CURL_READFUNC_ABORT;
    got = static_cast<size_t>(count);
  } else {
    std::memcpy(buffer, std::get<std::string_view>(request_.body).data() + bodyRead, wanted);
  }
  bodyRead += got;
  if (bodyRead == bodyLength_) hop_->bodyLeft = CurlHop::Clock::now();
  return got;
}

int CurlConnection::OnRewind(curl_off_t offset) {
  return offset == 0 && hop_->bodyRead == 0 ? CURL_SEEKFUNC_OK : CURL_SEEKFUNC_FAIL;
}

int CurlConnection::OnSendingBegins(int localPort) {
  // libcurl doesn't tell which socket serves: it may be that of an earlier request, or one of
  // several that tried to connect.
  hop_->socket = handles_.sockets.WithLocalPort(localPort);
  // libcurl repeats a request whose reused connection died. Only what cannot have had an effect
  // twice may be repeated: a GET, or a request of whose body nothing had left yet.
  const bool first = hop_->attempts++ == 0;
  const bool repeatable = request_.method == "GET" || (bodyLength_ > 0 && hop_->bodyRead == 0);
  hop_->repeatRefused = !first && !repeatable;
  if (hop_->repeatRefused) return CURL_PREREQFUNC_ABORT;
  hop_->sendingBegan = CurlHop::Clock::now();
  if (hop_->bodyRead == bodyLength_) hop_->bodyLeft = hop_->sendingBegan;
  hop_->reused = GetCurlInfo<CURLINFO_NUM_CONNECTS>(hop_->easy.get(), 0L) == 0;
  return CURL_PREREQFUNC_OK;
}

int CurlConnection::OnSocketOpened(curl_socket_t socket) {
  hop_->lookingUp = false;
  return handles_.sockets.Add(socket) ? CURL_SOCKOPT_OK : CURL_SOCKOPT_ERROR;
}

int CurlConnection::LookupCallback(void*, void*, void* hop) {
  auto* const self = static_cast<CurlHop*>(hop);
  self->lookingUp = self->owner && self->mayLookUp;
  self->lookupRefused = !self->lookingUp;
  return self->lookingUp ? 0 : 1;
}

int CurlConnection::SocketCallback(void* hop, curl_socket_t socket, curlsocktype) {
  CurlConnection* const owner = static_cast<CurlHop*>(hop)->owner;
  return owner ? owner->OnSocketOpened(socket) : CURL_SOCKOPT_ERROR;
}

size_t CurlConnection::HeaderCallback(char* data, size_t size, size_t count, void* hop) {
  CurlConnection* const owner = static_cast<CurlHop*>(hop)->owner;
  return owner ? owner->OnHeaderLine({data, size * count}) : 0;
}

size_t CurlConnection::DataCallback(char* data, size_t size, size_t count, void* hop) {
  CurlConnection* const owner = static_cast<CurlHop*>(hop)->owner;
  return owner ? owner->OnData(data, size * count) : CURL_WRITEFUNC_ERROR;
}

size_t CurlConnection::BodyCallback(char* buffer, size_t size, size_t count, void* hop) {
  CurlConnection* const owner = static_cast<CurlHop*>(hop)->owner;
  return owner ? owner->OnBodyWanted(buffer, size * count) : CURL_READFUNC_ABORT;
}

int CurlConnection::RewindCallback(void* hop, curl_off_t offset, int) {
  CurlConnection* const owner = static_cast<CurlHop*>(hop)->owner;
  return owner ? owner->OnRewind(offset) : CURL_SEEKFUNC_FAIL;
}

int CurlConnection::SendingCallback(void* hop, char*, char*, int, int localPort) {
  CurlConnection* const owner = static_cast<CurlHop*>(hop)->owner;
  return owner ? owner->OnSendingBegins(localPort) : CURL_PREREQFUNC_ABORT;
}

}  // namespace kelo
