// Digests through the EVP interface.
#include "platform/CDSAUtility.h"

#include <openssl/err.h>

#include <array>
#include <cstdio>
#include <vector>

#include "platform/FileStream.h"

namespace kelo {
namespace {

constexpr size_t kChunkSize = 256;
constexpr size_t kReadSize = 256 * kChunkSize;

struct FreeAlgorithm {
  void operator()(EVP_MD* algorithm) const { EVP_MD_free(algorithm); }
};
using Algorithm = std::unique_ptr<EVP_MD, FreeAlgorithm>;

// Looking an algorithm up costs more than a short digest: once for the process.
const EVP_MD* Sha1() {
  static const Algorithm algorithm(EVP_MD_fetch(nullptr, "SHA1", nullptr));
  return algorithm.get();
}

const EVP_MD* Md5() {
  static const Algorithm algorithm(EVP_MD_fetch(nullptr, "MD5", nullptr));
  return algorithm.get();
}

void PrintError() {
  std::array<char, 256> text{};
  ERR_error_string_n(ERR_get_error(), text.data(), text.size());
  std::fprintf(stderr, "Attach to CSP: %s\n", text.data());
}

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

int CDSAUtilityBase::cdsaDigest(const EVP_MD* algorithm, std::string_view data, Digest& digest) {
  if (algorithm != nullptr &&
      EVP_Digest(data.data(), data.size(), digest.bytes, &digest.length, algorithm, nullptr) == 1) {
    return 0;
  }
  digest.length = 0;
  PrintError();
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
  if (EVP_DigestUpdate(context.get(), chunk.data(), chunk.size()) != 1) {
    return -1;
  }
  return !final || EVP_DigestFinal_ex(context.get(), digest.bytes, &digest.length) == 1 ? 0 : -1;
}

void CDSAUtilityAccess::makeHash(std::string_view text, std::span<char> out) {
  Digest digest;
  cdsaDigest(Sha1(), text.substr(0, text.find('\0')), digest);
  WriteHex(digest, out);
}

int CDSAUtilityAccess::makeDigestFromFile(const std::string& path, std::span<char> out) {
  uint64_t size = 0;
  int error = 0;
  const FileDescriptor file = OpenRegularFileForReading(path, size, error);
  Context context;
  // A descriptor below 1 counts as failure, deliberately.
  if (file.Get() < 1 || cdsaStagedDigestInit(Md5(), context) != 0) {
    return -1;
  }
  Digest digest;
  std::vector<unsigned char> buffer(kReadSize);
  bool final = false;
  while (!final) {
    std::span<const unsigned char> rest(buffer.data(),
                                        ReadFull(file.Get(), buffer.data(), kReadSize, error));
    if (error != 0) {
      return -1;
    }
    final = rest.size() < kReadSize;
    for (; rest.size() >= kChunkSize; rest = rest.subspan(kChunkSize)) {
      if (cdsaStagedDigest(context, rest.first(kChunkSize), false, digest) != 0) {
        return -1;
      }
    }
    // The last chunk is the one that is not full, be it empty.
    if (final && cdsaStagedDigest(context, rest, true, digest) != 0) {
      return -1;
    }
  }
  WriteHex(digest, out);
  return 0;
}

}  // namespace kelo
