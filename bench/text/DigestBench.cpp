// The digest that signs a request, with an encoder made for it. The yardstick is the bare digest.
#include <openssl/evp.h>

#include <string>

#include "Measure.h"
#include "platform/KELOAccessEncoder.h"

namespace kelo::bench {
namespace {

// Argument: bytes. As many are signed in each round.
void Sign(benchmark::State& state) {
  const int rounds = Sized(1 << 20, 1 << 10) / static_cast<int>(state.range(0));
  const std::string text(static_cast<std::size_t>(state.range(0)), 'a');
  unsigned char bare[EVP_MAX_MD_SIZE];
  std::string digest;
  const auto sign = [&] {
    KELOAccessEncoder encoder;
    encoder.AccessEncodeSHA1(text, digest);
    benchmark::DoNotOptimize(digest.data());
  };
  const auto yardstick = [&] {
    EVP_Digest(text.data(), text.size(), bare, nullptr, EVP_sha1(), nullptr);
    benchmark::DoNotOptimize(bare);
  };
  Compare(state, 1.5, InRow(rounds, sign), InRow(rounds, yardstick), kProcessorTime);
}
BENCHMARK(Sign)
    ->ArgName("bytes")
    ->Arg(500)
    ->Arg(Sized(1 << 20, 1 << 10))
    ->UseManualTime()
    ->Iterations(Sized(51, 1));

}  // namespace
}  // namespace kelo::bench
