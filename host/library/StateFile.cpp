// The session file, a fixed block of bytes that is written and read whole, and the texts beside it.
#include "host/library/StateFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string_view>
#include <utility>

#include "host/account/Names.h"
#include "host/library/ResultText.h"

namespace kelo::host {
namespace {

// In native byte order, as the session block is: the file does not travel between machines.
struct FileContent {
  char magic[16] = "kelo session 1\n";
  std::uint32_t byteOrder = 0x01020304;
  char secret[36] = {};
  Session session{};
};
static_assert(sizeof(FileContent) == 16 + 4 + 36 + 800);

constexpr const char* kUrlsVariable = "KELO_URLS_FILE";

std::filesystem::path DefaultFolder() {
  // A relative XDG path is to be ignored.
  const char* state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && state[0] == '/') return std::filesystem::path(state) / "kelo";
  const char* home = std::getenv("HOME");
  if (home == nullptr || home[0] != '/')
    throw Failure("cannot find the state folder: neither XDG_STATE_HOME nor HOME is set");
  return std::filesystem::path(home) / ".local/state/kelo";
}

[[noreturn]] void FailFile(std::string_view doing, const std::filesystem::path& path) {
  const std::string reason = std::strerror(errno);
  throw Failure(fmt::format("cannot {} {}: {}", doing, path.string(), reason));
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Number() const { return number_; }
  bool Close() {
    if (number_ < 0) return true;
    return ::close(std::exchange(number_, -1)) == 0;
  }

 private:
  int number_;
};

// A file of mode 0600, there whole or not at all.
void WriteAtomically(const std::filesystem::path& path, std::string_view bytes) {
  std::error_code failed;
  std::filesystem::create_directories(path.parent_path(), failed);
  std::filesystem::permissions(path.parent_path(), std::filesystem::perms::owner_all, failed);
  std::string temporary = path.string() + ".XXXXXX";
  Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
  if (file.Number() < 0) FailFile("create", temporary);
  const auto written = ::write(file.Number(), bytes.data(), bytes.size());
  const bool whole = written == static_cast<ssize_t>(bytes.size()) && ::fsync(file.Number()) == 0;
  if (!whole || !file.Close() || ::rename(temporary.c_str(), path.c_str()) != 0) {
    const int reason = errno;
    ::unlink(temporary.c_str());
    errno = reason;
    FailFile("write", path);
  }
}

// Nobody but the user may read or write the open file.
void CheckPrivate(const Descriptor& file, const std::filesystem::path& path) {
  struct stat facts {};
  if (::fstat(file.Number(), &facts) != 0) FailFile("read", path);
  if (!S_ISREG(facts.st_mode))
    throw Failure(fmt::format("{} is no file; remove it and log in again", path.string()));
  if (facts.st_uid != ::geteuid()) {
    throw Failure(fmt::format("{} belongs to another user and is not trusted; remove it and log in",
                              path.string()));
  }
  if ((facts.st_mode & 077u) != 0) {
    throw Failure(fmt::format("others may read {}, or write it; if nobody did, say 'chmod 600 {}'",
                              path.string(), path.string()));
  }
}

// The first `most` bytes of a private file; nothing when there is no such file.
std::optional<std::string> ReadPrivate(const std::filesystem::path& path, std::size_t most) {
  Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (file.Number() < 0) {
    if (errno == ENOENT) return std::nullopt;
    FailFile("read", path);
  }
  CheckPrivate(file, path);
  std::string bytes(most, '\0');
  const auto size = ::read(file.Number(), bytes.data(), bytes.size());
  if (size < 0) FailFile("read", path);
  bytes.resize(static_cast<std::size_t>(size));
  return bytes;
}

void RemoveFile(const std::filesystem::path& path) {
  if (::unlink(path.c_str()) != 0 && errno != ENOENT) FailFile("remove", path);
}

}  // namespace

bool IsProfileName(const std::string& name) {
  return !name.empty() && FileName(name, "") == name;
}

StateFile StateFile::OfProfile(const std::string& profile) {
  const std::filesystem::path folder = DefaultFolder();
  return StateFile(profile.empty() ? folder : folder / "profiles" / profile);
}

StateFile::StateFile(std::filesystem::path folder) : folder_(std::move(folder)) {}

void StateFile::Save(const StoredSession& stored) const {
  FileContent content;
  content.session = stored.session;
  stored.secret.copy(content.secret, sizeof content.secret - 1);
  WriteAtomically(SessionPath(), {reinterpret_cast<const char*>(&content), sizeof content});
}

StoredSession StateFile::Load() const {
  const std::filesystem::path path = SessionPath();
  FileContent content;
  // One byte more, to notice a longer file.
  const std::optional<std::string> bytes = ReadPrivate(path, sizeof content + 1);
  if (!bytes) throw Failure("no session: log in with 'kelo login'");
  if (bytes->size() != sizeof content) {
    throw Failure(fmt::format(
        "the session file {} is not one of this version of kelo ({} than {} bytes); log in again",
        path.string(), bytes->size() < sizeof content ? "shorter" : "longer", sizeof content));
  }
  std::memcpy(&content, bytes->data(), sizeof content);
  const FileContent expected;
  if (std::memcmp(content.magic, expected.magic, sizeof content.magic) != 0 ||
      content.byteOrder != expected.byteOrder || content.session.token[0] == '\0') {
    throw Failure(fmt::format(
        "the session file {} is damaged, or of another program or machine; log in again",
        path.string()));
  }
  return {content.session, std::string(FieldText(content.secret))};
}

// A line each; no credential has a line end in it.
void StateFile::Remember(const Credentials& credentials) const {
  WriteAtomically(CredentialsPath(), fmt::format("{}\n{}\n{}\n", credentials.apiKey,
                                                 credentials.authToken, credentials.signingSecret));
}

std::optional<Credentials> StateFile::Remembered() const {
  const auto bytes = ReadPrivate(CredentialsPath(), 4096);
  if (!bytes) return std::nullopt;
  std::istringstream lines(*bytes);
  Credentials credentials;
  if (std::getline(lines, credentials.apiKey) && std::getline(lines, credentials.authToken) &&
      std::getline(lines, credentials.signingSecret))
    return credentials;
  throw Failure(fmt::format("{} is damaged; log in again", CredentialsPath().string()));
}

void StateFile::Remove() const {
  RemoveFile(SessionPath());
  ForgetCredentials();
}

void StateFile::ForgetCredentials() const {
  RemoveFile(CredentialsPath());
}

void StateFile::TryUrl(const std::string& url) const {
  if (url.find('"') != std::string::npos) throw Failure("a URL has no quotation marks in it");
  if (url.empty()) {
    ::unsetenv(kUrlsVariable);
    return;
  }
  WriteAtomically(TriedPath(), fmt::format("kKELO_URLofKELOServer = \"{}\"\n", url));
  ::setenv(kUrlsVariable, TriedPath().c_str(), 1);
}

void StateFile::KeepUrl(const std::string& url) const {
  std::error_code failed;
  if (url.empty()) {
    std::filesystem::remove(UrlPath(), failed);
    return;
  }
  std::filesystem::rename(TriedPath(), UrlPath(), failed);
  if (failed) throw Failure("cannot remember the URL: " + failed.message());
  ::setenv(kUrlsVariable, UrlPath().c_str(), 1);
}

void StateFile::ForgetTriedUrl() const {
  RemoveFile(TriedPath());
}

std::filesystem::path StateFile::TriedPath() const {
  return folder_ / fmt::format("server-urls.tried.{}", ::getpid());
}

void StateFile::ApplyUrl() const {
  // Read for its checks alone: who can change it gets the session's requests.
  if (ReadPrivate(UrlPath(), 0)) ::setenv(kUrlsVariable, UrlPath().c_str(), 0);
}

}  // namespace kelo::host
