// Computes SipHash-1-3, and draws the key that makes its collisions hard to foresee.
#include "platform/KeyedHash.h"

#include <unistd.h>

#include <bit>
#include <chrono>
#include <cstring>
#if defined(__APPLE__)
#include <sys/random.h>
#endif

namespace kelo {
namespace {

// The bytes in their order in memory: the hash never leaves the process.
uint64_t Word(const char* bytes, size_t count) {
  uint64_t word = 0;
  std::memcpy(&word, bytes, count);
  return word;
}

struct State {
  uint64_t a, b, c, d;

  void Round() {
    a += b;
    b = std::rotl(b, 13) ^ a;
    a = std::rotl(a, 32);
    c += d;
    d = std::rotl(d, 16) ^ c;
    a += d;
    d = std::rotl(d, 21) ^ a;
    c += b;
    b = std::rotl(b, 17) ^ c;
    c = std::rotl(c, 32);
  }
  void Add(uint64_t word) {
    d ^= word;
    Round();
    a ^= word;
  }
};

}  // namespace

KeyedHash::KeyedHash() {
  if (getentropy(key_, sizeof key_) == 0) return;
  const auto now = std::chrono::steady_clock::now().time_since_epoch().count();
  key_[0] = static_cast<uint64_t>(now);
  key_[1] = reinterpret_cast<uintptr_t>(this);
}

size_t KeyedHash::operator()(std::string_view text) const noexcept {
  State state{key_[0] ^ 0x736f6d6570736575, key_[1] ^ 0x646f72616e646f6d,
              key_[0] ^ 0x6c7967656e657261, key_[1] ^ 0x7465646279746573};
  const char* at = text.data();
  size_t rest = text.size();
  for (; rest >= 8; at += 8, rest -= 8) state.Add(Word(at, 8));
  // The last word ends with the length: texts that differ by zero bytes alone differ in it.
  state.Add((rest == 0 ? 0 : Word(at, rest)) ^ (uint64_t{text.size()} << 56));
  state.c ^= 0xFF;
  for (int i = 0; i < 3; ++i) state.Round();
  return static_cast<size_t>(state.a ^ state.b ^ state.c ^ state.d);
}

}  // namespace kelo
