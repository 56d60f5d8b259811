// OpenSSL computes the digests, and the system gives the random bytes.
#include "devservice/protocol/Digest.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <array>
#include <boost/algorithm/hex.hpp>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <vector>

namespace kelo::devservice {
namespace {

// The kinds are looked up once each: a lookup costs more than a short digest.
class Hash {
 public:
  explicit Hash(const EVP_MD* kind) : context_(EVP_MD_CTX_new(), &EVP_MD_CTX_free) {
    Check(context_ && EVP_DigestInit_ex(context_.get(), kind, nullptr));
  }
  void Add(const char* data, size_t size) { Check(EVP_DigestUpdate(context_.get(), data, size)); }
  std::string Hex() {
    std::array<unsigned char, EVP_MAX_MD_SIZE> bytes{};
    unsigned int size = 0;
    Check(EVP_DigestFinal_ex(context_.get(), bytes.data(), &size));
    std::string hex;
    boost::algorithm::hex_lower(bytes.data(), bytes.data() + size, std::back_inserter(hex));
    return hex;
  }

 private:
  static void Check(bool succeeded) {
    if (!succeeded) throw std::runtime_error("digest failed");
  }
  std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context_;
};

}  // namespace

std::string Sha1Hex(std::string_view text) {
  static EVP_MD* const sha1 = EVP_MD_fetch(nullptr, "SHA1", nullptr);
  Hash hash(sha1);
  hash.Add(text.data(), text.size());
  return hash.Hex();
}

std::string Md5HexOfFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return {};
  static EVP_MD* const md5 = EVP_MD_fetch(nullptr, "MD5", nullptr);
  Hash hash(md5);
  std::vector<char> block(1 << 16);
  while (file.read(block.data(), static_cast<std::streamsize>(block.size())), file.gcount() > 0)
    hash.Add(block.data(), static_cast<size_t>(file.gcount()));
  return file.bad() ? std::string() : hash.Hex();
}

std::string RandomText(size_t size) {
  // As many letters as five bits tell apart, so each is as likely as any other.
  static constexpr std::string_view letters = "ABCDEFGHJKLMNPQRSTUVWXYZ23456789";
  static_assert(letters.size() == 32);
  std::string text(size, '\0');
  if (getentropy(text.data(), text.size()) != 0) throw std::runtime_error("no random bytes");
  for (char& c : text) c = letters[static_cast<unsigned char>(c) % letters.size()];
  return text;
}

}  // namespace kelo::devservice
