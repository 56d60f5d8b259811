// What a line of the trace says, and what it must not say.
#include "interface/RequestTrace.h"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <csignal>
#include <ctime>

#include "KELOAccess.h"
#include "platform/Environment.h"
#include "platform/FileStream.h"
#include "protocol/RequestDocument.h"
#include "protocol/ServiceAnswer.h"
#include "text/XMLSearch.h"

namespace kelo {
namespace {

constexpr size_t kMaxText = 200;

std::string TimeNow() {
  using namespace std::chrono;
  const auto now = floor<milliseconds>(system_clock::now());
  const std::time_t seconds = system_clock::to_time_t(floor<std::chrono::seconds>(now));
  std::tm parts{};
  gmtime_r(&seconds, &parts);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S.", &parts);
  const std::string fraction = std::to_string(1000 + now.time_since_epoch().count() % 1000);
  return text.data() + fraction.substr(1) + "Z";
}

// The value of a parameter in a query; empty where it is missing.
std::string_view QueryValue(std::string_view query, std::string_view name) {
  while (!query.empty()) {
    const std::string_view parameter = query.substr(0, query.find('&'));
    if (parameter.starts_with(name)) return parameter.substr(name.size());
    query.remove_prefix(std::min(parameter.size() + 1, query.size()));
  }
  return {};
}

// Host and path of a URL: no scheme, no credentials, no query.
std::string_view HostAndPath(std::string_view url) {
  const size_t scheme = url.find("://");
  if (scheme != std::string_view::npos) url.remove_prefix(scheme + 3);
  url = url.substr(0, url.find_first_of("?#"));
  const size_t credentials = url.substr(0, url.find('/')).rfind('@');
  if (credentials != std::string_view::npos) url.remove_prefix(credentials + 1);
  return url;
}

// The method that a document names: its one element.
std::string_view ServiceMethod(const TracedRequest& request) {
  const size_t begin = request.document.find(kDocumentDeclaration);
  if (begin == std::string_view::npos) return QueryValue(request.query, "method=");
  std::string_view name = request.document.substr(begin + kDocumentDeclaration.size());
  if (name.starts_with('<')) name.remove_prefix(1);
  return name.substr(0, name.find_first_of(" >"));
}

// A text that somebody else wrote: without what the query keeps secret, cut, in one line.
std::string Quoted(std::string_view text, const TracedRequest& request) {
  std::string quoted(text);
  for (const char* name : {"keloSessToken=", "keloApiKey=", "keloAuthToken=", "keloApiSig="}) {
    const std::string_view secret = QueryValue(request.query, name);
    for (size_t at; !secret.empty() && (at = quoted.find(secret)) != std::string::npos;)
      quoted.replace(at, secret.size(), "*");
  }
  quoted.resize(std::min(quoted.size(), kMaxText));
  for (char& c : quoted) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') c = ' ';
    if (c == '"') c = '\'';
  }
  return "\"" + quoted + "\"";
}

// Too short for a secret, and in need of no quotes.
bool IsPlainWord(std::string_view text) {
  constexpr size_t kMaxWord = 12;
  return !text.empty() && text.size() <= kMaxWord &&
         std::ranges::all_of(text, [](unsigned char c) { return std::isalnum(c) != 0; });
}

std::string Line(uint32_t command, const TracedRequest& request, const URLTransferInfo& transfer,
                 std::string_view response, uint32_t result, int64_t milliseconds) {
  std::string line = TimeNow() + " command=" + std::to_string(command) + " ";
  line.append(request.method).append(" ").append(HostAndPath(request.url)).append(" ");
  const std::string_view method = ServiceMethod(request);
  line.append(method.empty() ? "-" : method);
  const auto number = [&line](std::string_view name, uint64_t value) {
    line.append(" ").append(name).append("=").append(std::to_string(value));
  };
  number("out", transfer.sent);
  number("in", transfer.received);
  if (transfer.status != 0) number("http", static_cast<uint64_t>(transfer.status));
  for (const std::string_view name : {"stat", "errcode", "errmsg"}) {
    const auto value = FindPresentAttribute(response, name);
    if (!value) continue;
    line.append(" ").append(name).append("=");
    line.append(IsPlainWord(*value) ? *value : Quoted(*value, request));
    if (value == "ok") break;  // the rest of a large answer need not be looked through
  }
  if (!transfer.failure.empty()) line.append(" failure=").append(Quoted(transfer.failure, request));
  number("result", result);
  number("ms", static_cast<uint64_t>(milliseconds));
  if (transfer.sent > 0) line.append(transfer.reused ? " connection=reused" : " connection=new");
  for (char& c : line)  // a host's URL can hold anything
    if (static_cast<unsigned char>(c) < ' ') c = ' ';
  return line + "\n";
}

// Keeps a reader that has left the trace's pipe from ending the program.
class BrokenPipeShield {
 public:
  BrokenPipeShield() {
    sigset_t pending;
    sigemptyset(&broken_);
    sigaddset(&broken_, SIGPIPE);
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &broken_, &before_);
  }
  ~BrokenPipeShield() {
    sigset_t pending;
    sigpending(&pending);
    int signal = 0;
    if (!wasPending_ && sigismember(&pending, SIGPIPE) == 1) sigwait(&broken_, &signal);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
  }
  BrokenPipeShield(const BrokenPipeShield&) = delete;
  BrokenPipeShield& operator=(const BrokenPipeShield&) = delete;

 private:
  sigset_t broken_;
  sigset_t before_;
  bool wasPending_ = false;
};

}  // namespace

RequestTrace::RequestTrace() : path_(TrustedEnvironment("KELO_TRACE")) {}

void RequestTrace::Write(uint32_t command, const TracedRequest& request,
                         const URLTransferInfo& transfer, const std::string* answer,
                         uint32_t result) const {
  const auto taken = std::chrono::steady_clock::now() - begun_;
  if (answer != nullptr && result == kKELOResult_Success) result = ResultOfAnswer(*answer);
  const std::string line =
      Line(command, request, transfer, answer != nullptr ? std::string_view(*answer) : "", result,
           std::chrono::duration_cast<std::chrono::milliseconds>(taken).count());
  const BrokenPipeShield shield;
  int error = 0;
  if (std::string_view(path_) == "-") {
    WriteAll(2, line.data(), line.size(), error);
    return;
  }
  const FileDescriptor file = OpenForAppending(path_, 0600, error);
  if (file) WriteAll(file.Get(), line.data(), line.size(), error);
}

}  // namespace kelo
