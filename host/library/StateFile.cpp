// Reads and writes the session file: a fixed block of bytes, and lines behind it.
#include "host/library/StateFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string_view>
#include <utility>

#include "host/library/AccountLock.h"
#include "host/library/FileLock.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

// In native byte order, as the session block is: the file does not travel between machines. Behind
// it come lines: URL, account, and the three credentials, empty where they are not kept.
struct FixedPart {
  char magic[16] = "kelo session 2\n";
  std::uint32_t byteOrder = 0x01020304;
  char secret[36] = {};
  Session session{};
};
static_assert(sizeof(FixedPart) == 16 + 4 + 36 + 800);

// Of earlier versions, which had URL and credentials in files of their own.
constexpr char kFormerMagic[16] = "kelo session 1\n";

constexpr size_t kMaxBytes = 1 << 16;
constexpr const char* kUrlsVariable = "KELO_URLS_FILE";
constexpr const char* kTemporary = "session.";

fs::path DefaultFolder() {
  // A relative XDG path is to be ignored.
  const char* state = std::getenv("XDG_STATE_HOME");
  if (state != nullptr && state[0] == '/') return fs::path(state) / "kelo";
  const char* home = std::getenv("HOME");
  if (home == nullptr || home[0] != '/')
    throw Failure("cannot find the state folder: set HOME or XDG_STATE_HOME to an absolute path");
  return fs::path(home) / ".local/state/kelo";
}

[[noreturn]] void FailFile(std::string_view doing, const fs::path& path) {
  const std::string reason = std::strerror(errno);
  throw Failure(fmt::format("cannot {} {}: {}", doing, path.string(), reason));
}

// Nobody but the user may read or write the open file.
void CheckPrivate(const OwnedFile& file, const fs::path& path) {
  struct stat facts {};
  if (::fstat(file.Number(), &facts) != 0) FailFile("read", path);
  if (!S_ISREG(facts.st_mode))
    throw Failure(
        fmt::format("{} is not a regular file; remove it and log in again", path.string()));
  if (facts.st_uid != ::geteuid()) {
    throw Failure(
        fmt::format("{} belongs to another user, so it is not used; remove it and log in again",
                    path.string()));
  }
  if ((facts.st_mode & 077u) != 0) {
    throw Failure(
        fmt::format("other users can read or change {0}; run 'chmod 600 {0}', and log in again if "
                    "one of them may have done so",
                    path.string()));
  }
}

// The first `most` bytes of a private file; nothing when there is no such file.
std::optional<std::string> ReadPrivate(const fs::path& path, size_t most) {
  OwnedFile file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  if (!file) {
    if (errno == ENOENT) return std::nullopt;
    FailFile("read", path);
  }
  CheckPrivate(file, path);
  std::string bytes(most, '\0');
  const auto size = ::read(file.Number(), bytes.data(), bytes.size());
  if (size < 0) FailFile("read", path);
  bytes.resize(static_cast<size_t>(size));
  return bytes;
}

std::string Serialized(const Kept& kept) {
  FixedPart fixed;
  if (kept.session) {
    fixed.session = kept.session->session;
    kept.session->secret.copy(fixed.secret, sizeof fixed.secret - 1);
  }
  const Credentials credentials = kept.credentials.value_or(Credentials());
  return std::string(reinterpret_cast<const char*>(&fixed), sizeof fixed) +
         fmt::format("{}\n{}\n{}\n{}\n{}\n", kept.url, kept.account, credentials.apiKey,
                     credentials.authToken, credentials.signingSecret);
}

std::optional<StoredSession> SessionOf(const FixedPart& fixed) {
  if (fixed.session.token[0] == '\0') return std::nullopt;
  return StoredSession{fixed.session, std::string(FieldText(fixed.secret))};
}

// Takes the lines behind the fixed part; false when they are not what Serialized wrote.
bool ReadLines(std::string_view text, Kept& kept) {
  std::istringstream lines{std::string(text)};
  Credentials credentials;
  for (std::string* line : {&kept.url, &kept.account, &credentials.apiKey, &credentials.authToken,
                            &credentials.signingSecret})
    if (!std::getline(lines, *line) || lines.eof()) return false;
  if (!credentials.apiKey.empty()) kept.credentials = std::move(credentials);
  return lines.peek() == std::istringstream::traits_type::eof();
}

[[noreturn]] void FailDamaged(const fs::path& path) {
  throw Failure(fmt::format(
      "{} cannot be used: it is damaged, or another version or machine wrote it; log in again with "
      "--url",
      path.string()));
}

}  // namespace

// The folder, locked while a run writes in it. Where there are no locks, runs may write at once.
class StateFile::Writing {
 public:
  explicit Writing(const fs::path& folder) {
    folder_ = OpenPrivateFolder(folder);
    if (!folder_) FailFile("open", folder);
    lock_ = OpenLockFile(folder_, "session.lock");
    if (lock_ && Lock(lock_, true) == LockResult::kTaken) RemoveLeftovers(folder);
  }

  void Write(const std::string& name, std::string_view bytes, const fs::path& path) const {
    const std::string temporary = kTemporary + RandomName();
    const int folder = folder_.Number();
    OwnedFile file(::openat(folder, temporary.c_str(),
                            O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!file) FailFile("write", path);
    const auto written = ::write(file.Number(), bytes.data(), bytes.size());
    const bool whole = written == static_cast<ssize_t>(bytes.size()) &&
                       ::fsync(file.Number()) == 0 && file.Close() &&
                       ::renameat(folder, temporary.c_str(), folder, name.c_str()) == 0;
    if (whole) return;
    const int reason = errno;
    ::unlinkat(folder, temporary.c_str(), 0);
    errno = reason;
    FailFile("write", path);
  }

  void Remove(const fs::path& path) const {
    if (::unlinkat(folder_.Number(), path.filename().c_str(), 0) != 0 && errno != ENOENT)
      FailFile("remove", path);
  }

 private:
  // Of runs that were killed: nobody else writes here while the lock is held.
  void RemoveLeftovers(const fs::path& folder) const {
    const std::string_view beginning = kTemporary;
    std::error_code failed;
    for (fs::directory_iterator at(folder, failed), end; !failed && at != end;
         at.increment(failed)) {
      const std::string name = at->path().filename().string();
      if (name.starts_with(beginning) &&
          IsRandomName(std::string_view(name).substr(beginning.size())))
        ::unlinkat(folder_.Number(), name.c_str(), 0);
    }
  }

  OwnedFile folder_;
  OwnedFile lock_;
};

bool IsProfileName(const std::string& name) {
  return !name.empty() && FileName(name, "") == name;
}

StateFile StateFile::OfProfile(const std::string& profile) {
  const fs::path folder = DefaultFolder();
  return StateFile(profile.empty() ? folder : folder / "profiles" / profile);
}

fs::path StateFile::LockFolder() {
  return DefaultFolder() / "locks";
}

fs::path StateFile::MemoryFolder() {
  return DefaultFolder() / "memory";
}

StateFile::StateFile(fs::path folder) : folder_(std::move(folder)) {}

Kept StateFile::Load() const {
  const fs::path path = SessionPath();
  const std::optional<std::string> bytes = ReadPrivate(path, kMaxBytes);
  if (!bytes) return LoadFormer(std::nullopt);
  FixedPart fixed;
  const FixedPart expected;
  if (bytes->size() < sizeof fixed) FailDamaged(path);
  std::memcpy(&fixed, bytes->data(), sizeof fixed);
  const auto session = SessionOf(fixed);
  const bool former = std::memcmp(fixed.magic, kFormerMagic, sizeof fixed.magic) == 0;
  if (fixed.byteOrder != expected.byteOrder) FailDamaged(path);
  if (former && session && bytes->size() == sizeof fixed) return LoadFormer(session);
  Kept kept{.url = {}, .account = {}, .session = session};
  if (std::memcmp(fixed.magic, expected.magic, sizeof fixed.magic) != 0 ||
      !ReadLines(std::string_view(*bytes).substr(sizeof fixed), kept) ||
      session.has_value() == kept.account.empty())
    FailDamaged(path);
  return kept;
}

Kept StateFile::LoadFormer(std::optional<StoredSession> session) const {
  Kept kept{.url = {}, .account = {}, .session = std::move(session)};
  const std::string urls = ReadPrivate(UrlPath(), kMaxBytes).value_or("");
  if (const size_t begin = urls.find('"'); begin != std::string::npos)
    kept.url = urls.substr(begin + 1, urls.rfind('"') - begin - 1);
  if (!kept.session) return kept;
  kept.account = AccountOf(kept.url, std::string(FieldText(kept.session->session.token)));
  const auto lines = ReadPrivate(CredentialsPath(), kMaxBytes);
  if (!lines) return kept;
  if (!ReadLines(fmt::format("{}\n{}\n{}", kept.url, kept.account, *lines), kept))
    FailDamaged(CredentialsPath());
  if (kept.credentials) kept.account = AccountOf(kept.url, kept.credentials->authToken);
  return kept;
}

void StateFile::Save(const Kept& kept) const {
  Put(Writing(folder_), kept);
}

void StateFile::Replace(const Kept& former, const Kept& kept) const {
  const Writing writing(folder_);
  if (Serialized(Load()) == Serialized(former)) Put(writing, kept);
}

void StateFile::Put(const Writing& writing, const Kept& kept) const {
  if (kept.session || !kept.url.empty())
    writing.Write("session", Serialized(kept), SessionPath());
  else
    writing.Remove(SessionPath());
  writing.Remove(CredentialsPath());
  writing.Remove(UrlPath());
}

void UseServer(const std::string& url) {
  if (url.find_first_of("\"\r\n") != std::string::npos)
    throw Failure(fmt::format("the URL '{}' must be one line without quotation marks", Shown(url)));
  if (url.size() > kMaxBytes / 2)
    throw Failure(fmt::format("the URL is longer than {} bytes", kMaxBytes / 2));
  if (url.empty()) {
    ::unsetenv(kUrlsVariable);
    return;
  }
  // In memory, so that what another run saves meanwhile changes nothing for this one.
  // Linux's: memfd_create, /proc/self/fd.
  static OwnedFile file;
  OwnedFile next(::memfd_create("kelo-server", MFD_CLOEXEC));
  const std::string path = fmt::format("/proc/self/fd/{}", next.Number());
  const std::string text = fmt::format("kKELO_URLofKELOServer = \"{}\"\n", url);
  const bool written =
      next && ::write(next.Number(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
  // From a file that it cannot read, the library would go to the built-in server.
  if (!written || ::access(path.c_str(), R_OK) != 0)
    FailFile("name the server to the library in", path);
  ::setenv(kUrlsVariable, path.c_str(), 1);
  file = std::move(next);
}

void UseKeptServer(const Kept& kept) {
  static const bool isNamed = std::getenv(kUrlsVariable) != nullptr;
  if (!isNamed) UseServer(kept.url);
}

}  // namespace kelo::host
