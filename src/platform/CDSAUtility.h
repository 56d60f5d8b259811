// Digests through the cryptographic library. Made on the stack for each call; any thread.
#pragma once

#include <openssl/evp.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>

namespace kelo {

// The steps of a digest.
class CDSAUtilityBase {
 public:
  // Prepares the cryptographic library and switches off its clean-up at exit, when a command may
  // still run on another thread. Must come before any other use; may be repeated. False: memory ran
  // out, and that library may stay unusable.
  static bool cssmStartup();

  // One digest in progress.
  struct FreeContext {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
  };
  using Context = std::unique_ptr<EVP_MD_CTX, FreeContext>;

  // A digest of at most EVP_MAX_MD_SIZE bytes; empty until it was computed.
  struct Digest {
    unsigned char bytes[EVP_MAX_MD_SIZE] = {};
    unsigned int length = 0;
  };

 protected:
  // Each answers 0, or -1 for a failure.
  int cdsaDigest(const EVP_MD* algorithm, std::string_view data, Digest& digest);
  int cdsaStagedDigestInit(const EVP_MD* algorithm, Context& context);
  int cdsaStagedDigest(Context& context, std::span<const unsigned char> chunk, bool final,
                       Digest& digest);
};

// The output buffers take two characters for each digest byte and a terminating zero.
class CDSAUtilityAccess : public CDSAUtilityBase {
 public:
  // SHA-1 of the text up to its first zero byte; the empty text if it could not be computed.
  void makeHash(std::string_view text, std::span<char> out);
  // MD5 of a regular file. 0, or -1 with the output untouched.
  int makeDigestFromFile(const std::string& path, std::span<char> out);
};

}  // namespace kelo
