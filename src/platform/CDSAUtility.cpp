// Computes SHA-1 of texts and MD5 of files with libcrypto, and prepares that library.
#include "platform/CDSAUtility.h"

#include <openssl/crypto.h>
#include <openssl/err.h>

#include <atomic>
#include <new>
#include <vector>

#include "platform/FileStream.h"

namespace kelo {
namespace {

constexpr size_t kChunkSize = 256;
constexpr size_t kReadSize = 256 * kChunkSize;

// A digest algorithm of libcrypto. Looking it up costs more than a short digest, so what was found
// is kept until the process ends; a failure is not kept. Each try has a library context of its own,
// since one that lacked memory when it was made stays unusable. What was found is never freed: a
// command may still need it while the process ends.
class Algorithm {
 public:
  constexpr explicit Algorithm(const char* name) : name_(name) {}

  // Null when it is not to be had now.
  const EVP_MD* Get() {
    if (const EVP_MD* known = found_) return known;
    if (!CDSAUtilityBase::cssmStartup()) return nullptr;
    OSSL_LIB_CTX* const context = OSSL_LIB_CTX_new();
    if (context == nullptr) return nullptr;
    EVP_MD* fetched = EVP_MD_fetch(context, name_, nullptr);
    const EVP_MD* other = nullptr;
    if (fetched != nullptr && found_.compare_exchange_strong(other, fetched)) return fetched;
    EVP_MD_free(fetched);
    OSSL_LIB_CTX_free(context);
    return other;
  }

 private:
  const char* const name_;
  std::atomic<const EVP_MD*> found_ = nullptr;
};

constinit Algorithm sha1("SHA1");
constinit Algorithm md5("MD5");

// Leaves the thread's queue of library errors, which the host may read, as it was.
class ErrorMark {
 public:
  ErrorMark() { ERR_set_mark(); }
  ~ErrorMark() { ERR_pop_to_mark(); }
  ErrorMark(const ErrorMark&) = delete;
  ErrorMark& operator=(const ErrorMark&) = delete;
};

void WriteHex(const CDSAUtilityBase::Digest& digest, std::span<char> out) {
  static constexpr char kDigits[] = "0123456789abcdef";
  size_t at = 0;
  for (unsigned int i = 0; i < digest.length && at + 2 < out.size(); ++i) {
    out[at++] = kDigits[digest.bytes[i] >> 4];
    out[at++] = kDigits[digest.bytes[i] & 15];
  }
  out[at] = '\0';
}

}  // namespace

bool CDSAUtilityBase::cssmStartup() {
  // libcrypto 3.5 never returns when one of its very first allocations fails.
  constexpr size_t kRoom = 65536;
  void* const room = ::operator new(kRoom, std::nothrow);
  if (room == nullptr) return false;
  ::operator delete(room);
  return OPENSSL_init_crypto(OPENSSL_INIT_NO_ATEXIT, nullptr) == 1;
}

int CDSAUtilityBase::cdsaDigest(const EVP_MD* algorithm, std::string_view data, Digest& digest) {
  if (algorithm != nullptr &&
      EVP_Digest(data.data(), data.size(), digest.bytes, &digest.length, algorithm, nullptr) == 1)
    return 0;
  digest.length = 0;
  return -1;
}

int CDSAUtilityBase::cdsaStagedDigestInit(const EVP_MD* algorithm, Context& context) {
  context.reset(EVP_MD_CTX_new());
  const bool started = algorithm != nullptr && context != nullptr &&
                       EVP_DigestInit_ex2(context.get(), algorithm, nullptr) == 1;
  return started ? 0 : -1;
}

int CDSAUtilityBase::cdsaStagedDigest(Context& context, std::span<const unsigned char> chunk,
                                      bool final, Digest& digest) {
  if (EVP_DigestUpdate(context.get(), chunk.data(), chunk.size()) != 1) return -1;
  return !final || EVP_DigestFinal_ex(context.get(), digest.bytes, &digest.length) == 1 ? 0 : -1;
}

void CDSAUtilityAccess::makeHash(std::string_view text, std::span<char> out) {
  const ErrorMark mark;
  Digest digest;
  cdsaDigest(sha1.Get(), text.substr(0, text.find('\0')), digest);
  WriteHex(digest, out);
}

int CDSAUtilityAccess::makeDigestFromFile(const std::string& path, std::span<char> out) {
  const ErrorMark mark;
  uint64_t size = 0;
  int error = 0;
  const FileDescriptor file = OpenRegularFileForReading(path, size, error);
  Context context;
  // A descriptor below 1 counts as failure, deliberately.
  if (file.Get() < 1 || cdsaStagedDigestInit(md5.Get(), context) != 0) return -1;
  Digest digest;
  std::vector<unsigned char> buffer(kReadSize);
  bool final = false;
  while (!final) {
    std::span<const unsigned char> rest(buffer.data(),
                                        ReadFull(file.Get(), buffer.data(), kReadSize, error));
    if (error != 0) return -1;
    final = rest.size() < kReadSize;
    for (; rest.size() >= kChunkSize; rest = rest.subspan(kChunkSize))
      if (cdsaStagedDigest(context, rest.first(kChunkSize), false, digest) != 0) return -1;
    // The last chunk is the one that is not full, be it empty.
    if (final && cdsaStagedDigest(context, rest, true, digest) != 0) return -1;
  }
  WriteHex(digest, out);
  return 0;
}

}  // namespace kelo
