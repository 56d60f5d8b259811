// References and UTF-8 as the header resolves them, beside the library's own conversions.
#include <gtest/gtest.h>

#include <random>

#include "KELOAccess.hpp"
#include "text/XMLUtility.h"

namespace kelo::testing {
namespace {

TEST(Texts, ReferencesAreResolvedOrStay) {
  const std::pair<std::string, std::string> cases[] = {
      {"&#65;&#x41;&#X4a;&#x4A;&#0065;", "AAJJA"},
      {"&#xD83D;&#56832;", "\U0001F600"},
      {"&#128512;&#x10FFFF;", "\U0001F600\U0010FFFF"},
      {"&#127;&#128;&#2047;&#2048;&#65535;&#65536;", "\x7F\u0080\u07FF\u0800\uFFFF\U00010000"},
      // Once, not twice: what was written as text stays text.
      {"&amp;lt;&amp;amp;&#38;#65;", "&lt;&amp;&#65;"},
      // What is no reference.
      {"&", "&"},
      {"a & b; &unknown; &amp &AMP;", "a & b; &unknown; &amp &AMP;"},
      {"&#;&#x;&#65 ;&#-1;&#0x41;&#+5;&#6", "&#;&#x;&#65 ;&#-1;&#0x41;&#+5;&#6"},
      {"&#0;&#1114112;&#99999999999999999999;&#x110000;",
       "&#0;&#1114112;&#99999999999999999999;&#x110000;"},
      // Halves of pairs, as a field that is full may end.
      {"&#55357;", "&#55357;"},
      {"&#55357;&#568", "&#55357;&#568"},
      {"&#56832;&#55357;", "&#56832;&#55357;"},
      {"&#55357;x&#56832;", "&#55357;x&#56832;"},
      {"&#55357;&#55357;&#56832;", "&#55357;\U0001F600"},
      // Bytes that are no UTF-8: one mark for each piece.
      {"\xE6\xA1", "\uFFFD"},
      {"a\xC0\xAF\x80z", "a\uFFFD\uFFFD\uFFFDz"},
      {"\xED\xA0\x80", "\uFFFD\uFFFD\uFFFD"},
      {"\xF4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"\xF0\x9F\x98&amp;", "\uFFFD&"},
  };
  for (const auto& [raw, decoded] : cases) EXPECT_EQ(Decoded(raw), decoded) << "input " << raw;
}

TEST(Texts, WhatWasCutAtTheEndIsDroppedWhereTheFieldIsFull) {
  const std::pair<std::string, std::string> cases[] = {
      {"a&#26085;", "a\u65E5"},  // nothing was cut
      {"a&", "a"},
      {"a&#2608", "a"},
      {"a&quot", "a"},
      {"a&#128512", "a"},
      {"a&#x10FFFF", "a"},
      {"a&#X", "a"},
      {"a&#xD83D;&#xDE0", "a"},
      {"a&#55357;", "a"},
      {"a&#55357;&#568", "a"},
      {"a\xE6\xA1", "a"},
      // Malformed somewhere else, or more than what a cut leaves.
      {"a&#55357;b", "a&#55357;b"},
      {"a&#12 & b", "a&#12 & b"},
      {"a & more", "a & more"},
      {"a&amb", "a&amb"},
      {"a&#", "a"},
      {"a&#12x", "a&#12x"},
      {"a&#9999999", "a&#9999999"},
      {"a&#55357;&am", "a&#55357;"},
      {"a\x80z", "a\uFFFDz"}};
  for (const auto& [raw, decoded] : cases) EXPECT_EQ(Decoded(raw, true), decoded) << raw;

  tagKELO_ItemInfo record{};
  std::fill_n(record.name, 254, 'n');
  record.name[254] = '&';
  EXPECT_EQ(Item(record).name, std::string(254, 'n'));
  EXPECT_EQ(Item(record).raw.name, std::string(254, 'n') + '&');
  EXPECT_TRUE(Item(record).nameMayBeCut);
  record.name[254] = '\0';
  for (char* field : {record.modifyDate, record.shotDate, record.uploadDate, record.screenUrl,
                      record.origUrl, record.itemId})
    std::strcpy(field, "1&#58;2");
  const Item item(record);
  EXPECT_FALSE(item.nameMayBeCut);
  for (const std::string& text :
       {item.modifyDate, item.shotDate, item.uploadDate, item.screenUrl, item.originalUrl})
    EXPECT_EQ(text, "1:2");
  EXPECT_EQ(item.id + item.raw.originalUrl, "1&#58;21&#58;2");
}

// Whole tokens, so that references, their halves and broken characters meet often.
std::string RandomText(std::mt19937& random, std::span<const char* const> tokens) {
  std::string text;
  for (std::size_t count = random() % 12; count > 0; --count)
    text += tokens[random() % tokens.size()];
  return text;
}

TEST(Texts, WhatTheLibraryWritesComesBackAndEverythingIsUtf8) {
  constexpr const char* kWhole[] = {"a",  "&",      "#",      ";",          "&amp;",  "&#65;",  "<",
                                    ">",  "\"",     "'",      "\r\n",       "\u00E9", "\u65E5", "x",
                                    "12", "\u07FF", "\uFFFF", "\U0001F600", "amp;",   "\x7F"};
  constexpr const char* kBroken[] = {"&#",       "55357;", "&#55357;", "&#56832;", "&#x", "\xC3",
                                     "\xE6\xA1", "\x80",   "\xED\xA0", "\xF0\x9F", "d",   "\xFF"};
  const XMLUtility library;
  std::mt19937 random(19700101);
  for (int i = 0; i < 20000; ++i) {
    const std::string text = RandomText(random, kWhole);
    std::string written;
    if (!text.empty()) ASSERT_EQ(library.ConvertStringUTF8ToReference(text, written), 1u) << text;
    ASSERT_EQ(Decoded(written), text) << written;

    std::string out;
    const std::string decoded = Decoded(text + RandomText(random, kBroken) + text);
    // The library refuses what is not UTF-8.
    ASSERT_TRUE(decoded.empty() || library.ConvertStringUTF8ToCharacterReference(decoded, out) == 1)
        << decoded;
  }
}

TEST(Texts, ResultsHaveWordsAndNumbers) {
  for (const std::uint32_t code : {0, 3, 4098, 4099, 4101, 4102, 4103, 4104, 4112, 4113, 4114, 4115,
                                   4116, 4117, 4128, 4129, 4144})
    EXPECT_NE(ResultWords(code), ResultWords(1)) << code;
  const Error failure(kKELOResult_BadParameter, kKELOCommand_OpenSession);
  EXPECT_STREQ(failure.what(), "cannot open the session: the service does not know the key (4112)");
  EXPECT_EQ(failure.Words(), "the service does not know the key");
  EXPECT_EQ(failure.Code(), 4112u);
  EXPECT_EQ(failure.Command(), 3u);
  EXPECT_STREQ(Error(9, kKELOCommand_Upload).what(), "cannot upload: an unknown result (9)");
}

static_assert(Is(Kind::Folder | Kind::Album, Kind::Album) && !Is(~Kind::Album, Kind::Album));
static_assert(static_cast<Kind>(0x102) == (Kind::Album | Kind::SharedAlbum));

}  // namespace
}  // namespace kelo::testing
