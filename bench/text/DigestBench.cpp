// The digest that signs a request, with an encoder made for it. The yardstick is the bare digest.
#include <benchmark/benchmark.h>
#include <openssl/evp.h>

#include <string>

#include "platform/KELOAccessEncoder.h"

namespace kelo {
namespace {

void BareSha1(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'a');
  unsigned char digest[EVP_MAX_MD_SIZE];
  for (auto _ : state) {
    EVP_Digest(text.data(), text.size(), digest, nullptr, EVP_sha1(), nullptr);
    benchmark::DoNotOptimize(digest);
  }
}
BENCHMARK(BareSha1)->Name("yardstick: bare SHA-1")->Arg(500)->Arg(1 << 20);

void Sign(benchmark::State& state) {
  const std::string text(static_cast<std::size_t>(state.range(0)), 'a');
  std::string digest;
  for (auto _ : state) {
    KELOAccessEncoder encoder;
    encoder.AccessEncodeSHA1(text, digest);
    benchmark::DoNotOptimize(digest.data());
  }
}
BENCHMARK(Sign)->Arg(500)->Arg(1 << 20);

}  // namespace
}  // namespace kelo
