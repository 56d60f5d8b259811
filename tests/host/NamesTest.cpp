// Names made fit for terminals, file systems and the catalogue's records.
#include "host/names/Names.h"

#include <gtest/gtest.h>

#include "host/names/CatalogueNames.h"

namespace kelo::host {
namespace {

TEST(NamesTest, ShowsNothingThatATerminalObeys) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain", "plain"},
      {"R&amp;D &#65;", "R&amp;D &#65;"},  // the name of a file is what it is
      {"桜の庭 🐨", "桜の庭 🐨"},
      {"caf\xC3\xA9", "caf\xC3\xA9"},
      {"esc \x1B[2J", "esc ?[2J"},
      {"esc \x1B]0;x\x07", "esc ?]0;x?"},
      {"c1 \xC2\x9B"
       "31m",
       "c1 ?31m"},
      {"right-to-left \u202Egpj.exe \u061C\u200F\u2069", "right-to-left ?gpj.exe ???"},
      {"zero\u200Bwidth soft\u00ADhyphen a\u200Db", "zero?width soft?hyphen a?b"},
      {"\u0645\u06CC\u200C\u062E 👨\u200D👩 \u200D", "\u0645\u06CC\u200C\u062E 👨\u200D👩 ?"},
      {"cut \xE6\xA1", "cut ?"},
      {"overlong \xC0\xAF", "overlong ??"},
      {"surrogate \xED\xA0\x80", "surrogate ???"},
  };
  for (const auto& [text, shown] : cases) EXPECT_EQ(Shown(text), shown) << text;
  EXPECT_EQ(Shown("Tom &amp; &#26716;\x1B.jpg"), "Tom &amp; &#26716;?.jpg");
}

TEST(NamesTest, MakesOneHarmlessPathComponent) {
  const std::pair<std::string, std::string> cases[] = {
      {"a.jpg", "a.jpg"}, {"", "id"}, {".", "%2E"}, {"nul\x01", "nul%01"}, {"桜.jpg", "桜.jpg"},
  };
  for (const auto& [raw, name] : cases) EXPECT_EQ(FileName(raw, "id"), name) << raw;
  EXPECT_EQ(FileName("", "../x"), "%2E.%2Fx");
  // 80 characters of three bytes each, and the extension is kept.
  std::string longName;
  for (int i = 0; i < 100; ++i) longName += "桜";
  const std::string cut = FileName(longName + ".jpg", "id");
  EXPECT_LE(cut.size(), 255u);
  EXPECT_EQ(Shown(cut), cut);
  EXPECT_TRUE(cut.ends_with("桜.jpg")) << cut;
  EXPECT_TRUE(FileName(std::string(90, '/') + ".jpg", "id").ends_with("%2F%2F.jpg"));
}

// The field's end cuts the 16th emoji, which is a pair of references, inside its second one.
TEST(NamesTest, ACutNameKeepsNoHalfCharacter) {
  std::string emoji, references;
  for (int i = 0; i < 15; ++i) references += "&#55357;&#56832;";
  for (int i = 0; i < 40; ++i) emoji += "\xF0\x9F\x98\x80";
  EXPECT_EQ(CatalogueName(emoji), references);
}

TEST(NamesTest, NumbersNamesBeforeTheirExtension) {
  using Names = std::vector<std::string>;
  const std::pair<std::string, Names> behind[] = {
      {"a.jpg", {}},
      {"a (2).jpg", {"a.jpg"}},
      {"a%2Fb%5C%E2%80%AE%0A.jpg", {"a/b\\\u202E\n.jpg"}},
      {"%2E%2E", {".%2E"}},
      {"a%1B (2).jpg", {"a%1B.jpg", "a\x1B (2).jpg", "a\x1B.jpg"}},
      {"100%20%41%2f%00%FF%E2%80%2F%2", {"100%20%41%2f%00%FF%E2%80/%2"}},
  };
  for (const auto& [name, names] : behind) EXPECT_EQ(NamesBehind(name), names) << name;
  EXPECT_EQ(NumberedName("a.jpg", 1), "a.jpg");
  EXPECT_EQ(NumberedName("a.b.jpg", 2), "a.b (2).jpg");
  EXPECT_EQ(NumberedName("README", 3), "README (3)");
  EXPECT_EQ(NumberedName("St. Ives", 2, Named::kFolder), "St. Ives (2)");
  const std::pair<std::string, std::string> numberless[] = {
      {"a (2).jpg", "a.jpg"},
      {"a.b (10).jpg", "a.b.jpg"},
      {"README (3)", "README"},
      {"a (2) (3).jpg", "a (2).jpg"},
      {"a (1).jpg", "a (1).jpg"},
      {"a (02).jpg", "a (02).jpg"},
      {"a(2).jpg", "a(2).jpg"},
      {"a (2)b.jpg", "a (2)b.jpg"},
      {"a (-2).jpg", "a (-2).jpg"},
      {"a (2", "a (2"},
      {" (2).jpg", " (2).jpg"},
      {"a ().jpg", "a ().jpg"},
      {"a (99999999999).jpg", "a (99999999999).jpg"}};
  for (const auto& [name, plain] : numberless) EXPECT_EQ(WithoutNumber(name), plain);
  const std::string full = FileName(std::string(300, 'n') + ".jpg", "id");
  EXPECT_EQ(full.size(), 255u);
  EXPECT_EQ(NumberedName(full, 10), std::string(246, 'n') + " (10).jpg");
}

TEST(NamesTest, WritesSizes) {
  const std::pair<std::uint64_t, std::string> cases[] = {
      {0, "0 bytes"},        {1, "1 byte"},       {999, "999 bytes"},        {1000, "1.0 kB"},
      {999'949, "999.9 kB"}, {999'951, "1.0 MB"}, {5'368'709'120, "5.4 GB"}, {~0ull, "18446.7 PB"}};
  for (const auto& [bytes, text] : cases) EXPECT_EQ(ByteText(bytes), text);
}

}  // namespace
}  // namespace kelo::host
