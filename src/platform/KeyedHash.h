// A hash with a secret key: without it nobody can find texts that collide.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace kelo {

// For tables of what a peer chooses. Each one made has a key of its own, drawn from the system's
// random source; a copy has the same key, and so has a forked process. Where that source fails, the
// key comes from the clock and from addresses, which is harder to foresee than no key. Any thread.
class KeyedHash {
 public:
  KeyedHash();

  // SipHash-1-3 of the text.
  size_t operator()(std::string_view text) const noexcept;

 private:
  uint64_t key_[2];
};

}  // namespace kelo
