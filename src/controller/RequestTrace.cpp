// Writes the lines of the trace, finds the cause of a failure, and masks what must not be told.
#include "controller/RequestTrace.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <csignal>
#include <ctime>

#include "KELOAccess.h"
#include "platform/Environment.h"
#include "platform/FileStream.h"
#include "protocol/RequestDocument.h"
#include "protocol/ServiceAnswer.h"
#include "text/Printable.h"
#include "text/Unicode.h"
#include "text/XMLElements.h"

namespace kelo {
namespace {

constexpr size_t kMaxText = 200;  // bytes

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

// The text without what the query keeps secret. A shorter word is no secret of a service's, and may
// stand in any sentence.
std::string Masked(std::string_view text, const TracedRequest& request) {
  constexpr size_t kMinSecret = 8;
  std::string masked(text);
  for (const char* name : {"keloSessToken=", "keloApiKey=", "keloAuthToken=", "keloApiSig="}) {
    const std::string_view secret = QueryValue(request.query, name);
    if (secret.size() < kMinSecret) continue;
    for (size_t at = 0; (at = masked.find(secret, at)) != std::string::npos; ++at)
      masked.replace(at, secret.size(), "*");
  }
  return masked;
}

// A text that somebody else wrote, for people: masked, cut, in one line.
std::string Quoted(std::string_view text, const TracedRequest& request) {
  std::string quoted = Printable(Masked(text, request), "", [](std::string_view) { return " "; });
  std::ranges::replace(quoted, '"', '\'');
  const std::string_view cut = std::string_view(quoted).substr(0, kMaxText);
  return "\"" + std::string(WithoutCutCharacter(cut)) + "\"";
}

// Whether a text needs no quotes: a number, or a word of the protocol.
bool IsPlainWord(std::string_view text) {
  constexpr size_t kMaxWord = 12;
  return !text.empty() && text.size() <= kMaxWord &&
         std::ranges::all_of(text, [](unsigned char c) { return std::isalnum(c) != 0; });
}

// The fields behind the blank-separated beginning of a line.
class Fields {
 public:
  explicit Fields(std::string& line) : line_(line) {}
  void Add(std::string_view name, std::string_view value) {
    line_.append(" ").append(name).append("=").append(value);
  }
  void Add(std::string_view name, uint64_t number) { Add(name, std::to_string(number)); }
  void AddUnlessEmpty(std::string_view name, std::string_view value) {
    if (!value.empty()) Add(name, value);
  }

 private:
  std::string& line_;
};

void AddAnswer(Fields& fields, const TracedRequest& request, std::string_view answer) {
  for (const std::string_view name : {"stat", "errcode", "errmsg"}) {
    const auto value = FindAttribute(answer, name);
    if (!value) continue;
    const std::string masked = Masked(*value, request);
    fields.Add(name, IsPlainWord(masked) ? masked : Quoted(*value, request));
    if (value == "ok") break;  // the rest of a large answer need not be looked through
  }
}

void AddPhases(Fields& fields, const URLPhases& phases) {
  constexpr std::array<std::string_view, kURLPhases> kNames = {"lookup", "connect", "send", "wait",
                                                               "receive"};
  for (size_t phase = 0; phase < kURLPhases; ++phase)
    if (const auto time = phases[phase].count(); time > 0)
      fields.Add(kNames[phase], static_cast<uint64_t>(time));
}

// A word of the line. A URL is the host's and can hold anything: no blank or quote of it may make a
// field.
std::string Word(std::string_view text) {
  return Printable(
      text, " \"", [](std::string_view) { return "_"; });
}

std::string Beginning(uint32_t command, const TracedRequest& request) {
  std::string line = TimeNow() + " command=" + std::to_string(command) + " ";
  line.append(request.method).append(" ").append(Word(HostAndPath(request.url))).append(" ");
  const std::string_view method = ServiceMethod(request);
  return line.append(method.empty() ? "-" : Word(method));
}

// Why a request failed, as words of the lists in the header. No text of a library or of a peer has
// a part in it.
struct RequestCause {
  std::string_view cause;     // empty: it did not fail
  std::string_view unusable;  // what the answer was unusable for; empty otherwise
};

RequestCause CauseOfError(const URLTransferInfo& transfer) {
  switch (transfer.error) {
    case URLError::CannotFindHost:
      return {"unresolved", {}};
    case URLError::NoWayToHost:
      return {"unreachable", {}};
    case URLError::CannotConnectToHost:
      return {"refused", {}};
    case URLError::SecureConnectionFailed:
      return {"tls", {}};
    case URLError::ProxyFailure:
      return {"proxy", {}};
    case URLError::ConnectionLost:
      return {"lost", {}};
    case URLError::TimedOut:
      return {"silent", {}};
    case URLError::CannotParse:
      return {"unusable", "http"};
    case URLError::TooLong:
      return {"unusable", "size"};
    case URLError::CannotDecode:
      return {"unusable", "encoding"};
    case URLError::RedirectRefused:
      return {"unusable", "redirect"};
    default:
      return {"local", {}};
  }
}

RequestCause CauseOfAnswer(std::string_view answer) {
  if (ResultOfAnswer(answer) == kKELOResult_Success) return {};
  if (!FindAttribute(answer, "stat")) return {"unusable", "stat"};
  if (!FindAttribute(answer, "errcode")) return {"unusable", "errcode"};
  return {"service", {}};
}

// `answer` is null where no answer of the service was wanted.
RequestCause CauseOf(uint32_t transport, const URLTransferInfo& transfer,
                     const std::string* answer) {
  constexpr int kProxyWantsToKnowWhoAsks = 407;  // no other server answers that
  if (transport == kKELOResult_Aborted) return {"aborted", {}};
  if (transfer.error != 0) return CauseOfError(transfer);
  if (transport == kKELOResult_Success)
    return answer == nullptr ? RequestCause() : CauseOfAnswer(*answer);
  if (transfer.status == kProxyWantsToKnowWhoAsks && transfer.proxied) return {"proxy", {}};
  if (transfer.status != 0 && transfer.status != 200) return {"status", {}};
  return {"local", {}};
}

std::string Line(uint32_t command, const TracedRequest& request, const URLTransferInfo& transfer,
                 const std::string* answer, uint32_t transport, int64_t milliseconds) {
  std::string line = Beginning(command, request);
  Fields fields(line);
  fields.Add("out", transfer.sent);
  fields.Add("in", transfer.received);
  if (transfer.status != 0) fields.Add("http", static_cast<uint64_t>(transfer.status));
  if (answer != nullptr) AddAnswer(fields, request, *answer);
  if (!transfer.failure.empty()) fields.Add("failure", Quoted(transfer.failure, request));
  const auto [cause, unusable] = CauseOf(transport, transfer, answer);
  fields.AddUnlessEmpty("cause", cause);
  fields.AddUnlessEmpty("unusable", unusable);
  if (transfer.proxied) fields.Add("proxy", "used");
  const bool answered = answer != nullptr && transport == kKELOResult_Success;
  fields.Add("result", answered ? ResultOfAnswer(*answer) : transport);
  fields.Add("ms", static_cast<uint64_t>(milliseconds));
  if (transfer.sent > 0) fields.Add("connection", transfer.reused ? "reused" : "new");
  AddPhases(fields, transfer.phases);
  return line + "\n";
}

// The descriptor that a path stands for; -1 for one that is to be opened.
int DescriptorOf(std::string_view path) {
  constexpr std::string_view kFolder = "/dev/fd/";
  if (path == "-") return STDERR_FILENO;
  if (!path.starts_with(kFolder)) return -1;
  path.remove_prefix(kFolder.size());
  int number = -1;
  const auto read = std::from_chars(path.data(), path.data() + path.size(), number);
  return read.ec == std::errc() && read.ptr == path.data() + path.size() ? number : -1;
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
  const std::string line =
      Line(command, request, transfer, answer, result,
           std::chrono::duration_cast<std::chrono::milliseconds>(taken).count());
  const BrokenPipeShield shield;
  int error = 0;
  const int open = DescriptorOf(path_);
  const FileDescriptor file = open < 0 ? OpenForAppending(path_) : FileDescriptor();
  if (open >= 0 || file) WriteAll(file ? file.Get() : open, line.data(), line.size(), error);
}

}  // namespace kelo
