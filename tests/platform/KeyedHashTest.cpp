// The hash of what a peer chooses.
#include "platform/KeyedHash.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

// The system's random source, in its place.
static bool sourceFails = false;
static unsigned char drawn = 0;

extern "C" int getentropy(void* buffer, size_t length) {
  if (sourceFails) return -1;
  for (size_t i = 0; i < length; ++i) static_cast<unsigned char*>(buffer)[i] = ++drawn;
  return 0;
}

namespace kelo {
namespace {

// Texts that differ in a single byte of any place, or by their length alone.
TEST(KeyedHash, TellsTextsApartByAKeyOfItsOwn) {
  std::set<std::string> texts;
  for (size_t length = 0; length < 40; ++length) {
    texts.insert(std::string(length, '\0'));
    for (size_t at = 0; at < length; ++at)
      texts.insert(std::string(length, 'a').replace(at, 1, "b"));
  }
  for (sourceFails = false;; sourceFails = true) {
    std::set<size_t> values;
    const KeyedHash first;
    const KeyedHash second;
    const KeyedHash copy(first);
    for (const std::string& text : texts) {
      values.insert({first(text), second(text)});
      EXPECT_EQ(copy(text), first(text));
    }
    EXPECT_EQ(values.size(), 2 * texts.size()) << sourceFails;
    if (sourceFails) break;
  }
}

}  // namespace
}  // namespace kelo
