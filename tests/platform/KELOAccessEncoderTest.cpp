// The digests against published values, and the hash of what a peer chooses.
#include "platform/KELOAccessEncoder.h"

#include <gtest/gtest.h>

#include <set>

#include "platform/KeyedHash.h"
#include "support/TemporaryFolder.h"

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

using namespace std::string_view_literals;

TEST(KELOAccessEncoder, Sha1IsOfATextToItsFirstZero) {
  const std::string million(1000000, 'a');
  const std::pair<std::string_view, const char*> cases[] = {
      {"", "da39a3ee5e6b4b0d3255bfef95601890afd80709"},
      {"abc", "a9993e364706816aba3e25717850c26c9cd0d89d"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "84983e441c3bd26ebaae4aa1f95129e5e54670f1"},
      {million, "34aa973cd4c4daa4f61eeb2bdbad27316534016f"},
      {"abc\0def"sv, "a9993e364706816aba3e25717850c26c9cd0d89d"},  // ends at the zero byte
      {"\0abc"sv, "da39a3ee5e6b4b0d3255bfef95601890afd80709"}};
  for (const auto& [text, expected] : cases) {
    std::string digest = "old";
    EXPECT_EQ(KELOAccessEncoder().AccessEncodeSHA1(text, digest), 1u);
    EXPECT_EQ(digest, expected) << text.substr(0, 60);
  }
}

TEST(KELOAccessEncoder, Md5IsOfAWholeFile) {
  // Sizes around the chunk and around the read buffer; the content is 'a' throughout.
  const TemporaryFolder folder;
  const std::pair<std::size_t, const char*> cases[] = {
      {0, "d41d8cd98f00b204e9800998ecf8427e"},     {1, "0cc175b9c0f1b6a831c399e269772661"},
      {255, "46bc249a5a8fc5d622cf12c42c463ae0"},   {256, "81109eec5aa1a284fb5327b10e9c16b9"},
      {257, "b7958df91b9413477491e9b6e27f1bac"},   {65535, "22686eba65441cdc1795f276dcdd4e45"},
      {65536, "2d61aa54b58c2e94403fb092c3dbc027"}, {65537, "b3c6fc238e908636e53aabd5ad830cf7"}};
  for (const auto& [size, expected] : cases) {
    std::string digest = "old";
    const std::string path = folder.Write("f", std::string(size, 'a'));
    EXPECT_EQ(KELOAccessEncoder().AccessEncodeFileMD5(path, digest), 1u) << size;
    EXPECT_EQ(digest, expected) << size;
  }
}

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
