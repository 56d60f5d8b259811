// Digests by OpenSSL. A file is read in pieces.
#include "host/library/Digest.h"

#include <fcntl.h>
#include <openssl/evp.h>

#include <cerrno>
#include <memory>
#include <vector>

#include "host/library/Interrupt.h"
#include "host/names/Failure.h"

namespace kelo::host {
namespace {

constexpr char kDigits[] = "0123456789abcdef";

class Hash {
 public:
  Hash() {
    // Looked up once, since a lookup for each digest costs more than a short digest.
    static EVP_MD* const sha256 = EVP_MD_fetch(nullptr, "SHA256", nullptr);
    Check(context_ && EVP_DigestInit_ex(context_.get(), sha256, nullptr) == 1);
  }
  void Add(const void* bytes, size_t size) {
    Check(EVP_DigestUpdate(context_.get(), bytes, size) == 1);
  }
  std::string Digits() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned size = 0;
    Check(EVP_DigestFinal_ex(context_.get(), digest, &size) == 1);
    std::string digits;
    for (unsigned at = 0; at < size; ++at)
      (digits += kDigits[digest[at] >> 4]) += kDigits[digest[at] & 15];
    return digits;
  }

 private:
  static void Check(bool succeeded) {
    if (!succeeded) throw Failure("the cryptographic library makes no SHA-256");
  }

  std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context_{EVP_MD_CTX_new(), &EVP_MD_CTX_free};
};

}  // namespace

std::string Sha256(std::string_view bytes) {
  Hash hash;
  hash.Add(bytes.data(), bytes.size());
  return hash.Digits();
}

std::string Sha256OfFile(const std::filesystem::path& path) {
  return Sha256OfFile(OwnedFile(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)));
}

std::string Sha256OfFile(const OwnedFile& file) {
  if (!file) return {};
  Hash hash;
  std::vector<char> piece(1 << 18);
  while (Interrupt::Signal() == 0) {
    const ssize_t size = ::read(file.Number(), piece.data(), piece.size());
    if (size == 0) return hash.Digits();
    if (size < 0 && errno == EINTR) continue;
    if (size < 0) return {};
    hash.Add(piece.data(), static_cast<size_t>(size));
  }
  return {};
}

}  // namespace kelo::host
