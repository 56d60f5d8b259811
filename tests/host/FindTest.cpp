// What a person may write for an entry of the account; and names made fit for terminals, file
// systems and the catalogue's records.

#include "HostTest.h"
#include "host/account/AccountTree.h"
#include "host/account/EntryPaths.h"
#include "host/account/Find.h"
#include "host/library/StateFile.h"
#include "host/names/CatalogueNames.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"

namespace kelo::host::testing {
namespace {

// Names as the service writes them; ids that show where an entry lies.
std::string Account() {
  const std::string tram = ItemOf("tram", "tram.jpg");
  const std::string journeys = AlbumOf("lisbon", "Lisbon", tram + ItemOf("same1", "same.jpg")) +
                               AlbumOf("cafe", "Caf&#233; Stra&#223;e");
  const std::string home = AlbumOf("garden1", "Garden", ItemOf("same2", "same.jpg") + tram) +
                           AlbumOf("acdc", "AC/DC", ItemOf("live", "live.jpg"));
  return "<rootAlbum><items>" + ItemOf("loose", "loose.jpg") + "</items></rootAlbum><folders>" +
         FolderOf("journeys", "Journeys", journeys) + FolderOf("home", "Home", home) +
         FolderOf("trip", "Trip", AlbumOf("trips", "Trip")) + FolderOf("twin1", "Twin", "") +
         "</folders><albums>" + AlbumOf("garden2", "Garden") + AlbumOf("party1", "Party") +
         AlbumOf("party2", "PARTY") + AlbumOf("twin2", "Twin") +
         AlbumOf("long", Repeated("&#26716;", 40)) + "</albums>";
}

class FindTest : public HostTest {
 protected:
  FindTest() {
    TellAccount(Account());
    UseServer(service_.Url());
    library_.Open({service_.ApiKey(), service_.AuthToken(), service_.Secret()});
    library_.Load();
  }

  // The id, or what is said where there is none.
  template <typename Find>
  std::string Found(const Find& find, const std::string& wanted) {
    try {
      const std::string id = find(library_, wanted).id;
      return id == kRootAlbum ? "root" : id;
    } catch (const Failure& failure) {
      return failure.what();
    }
  }

  Output out_;
  Library library_{out_, {}};
};

TEST_F(FindTest, FindsByIdNameAndPath) {
  const std::pair<std::string, std::string> cases[] = {
      {"root", "root"},
      {"lisbon", "lisbon"},  // an id, and a name in another case
      {"Journeys", "journeys"},
      {"/Journeys/Lisbon", "lisbon"},
      {"/Garden", "garden2"},
      {"Home/Garden", "garden1"},
      {"Cafe\u0301 Stra\u00DFe", "cafe"},
      {"CAF\u00C9 STRASSE", "cafe"},
      {"Trip", "trip"},
      {"trip/trip", "trips"},
      {"Party", "party1"},
      {"PARTY", "party2"},
      {"tram.jpg", "tram"},  // in two albums, but one picture
      {"/journeys/Lisbon/tram.jpg", "tram"},
      {"Lisbon/same.jpg", "same1"},
      {"root/loose.jpg", "loose"},
      {"Home/AC/DC", "acdc"},
      {"home/ac/dc/live.jpg", "live"},
      {Repeated("\xE6\xA1\x9C", 40), "long"},  // longer than the catalogue keeps
      {Repeated("\xE6\xA1\x9C", 31), "long"},
  };
  for (const auto& [wanted, id] : cases) EXPECT_EQ(Found(FindEntry, wanted), id) << wanted;
}

TEST_F(FindTest, SaysWhatElseMayBeMeant) {
  const std::pair<std::string, Words> cases[] = {
      {"", {"the name is empty"}},
      {"Garden", {"2 entries", "garden1  /Home/Garden", "garden2  /Garden"}},
      {"party", {"2 entries", "party1  /Party", "party2  /PARTY"}},
      {"same.jpg", {"same1  /Journeys/Lisbon/same.jpg", "same2  /Home/Garden/same.jpg"}},
      {"Twin", {"twin1", "twin2"}},
      {"Lisbno", {"nothing with the id, name or path 'Lisbno'; did you mean 'Lisbon'?"}},
      {"Journeys/Lisbn", {"did you mean 'Journeys/Lisbon'?"}},
      {"lisbon/trm.jpg", {"did you mean 'Lisbon/tram.jpg'?"}},
      {"jou", {"did you mean 'Journeys'?"}},
      {"/Lisbon", {"nothing with"}},
      {"Home/Lisbon", {"nothing with"}},
      {"isbon/tram.jpg", {"nothing with"}},
      {"something else", {"'something else'; 'kelo tree' shows"}},
      {"evil\x1B[2J", {"'evil?[2J'"}},
  };
  for (const auto& [wanted, words] : cases)
    for (const std::string& word : words)
      EXPECT_THAT(Found(FindEntry, wanted), HasSubstr(word)) << wanted;
}

TEST_F(FindTest, AnAlbumIsNothingElseNorIsAFolder) {
  const std::pair<std::string, std::string> cases[] = {
      {"Twin", "twin2"},
      {"Trip", "trips"},
      {"root", "root"},
      {"Home/Garden", "garden1"},
      {"Journeys", "'Journeys' is a folder, not an album"},
      {"journeys", "'journeys' is a folder, not an album"},
      {"tram", "'tram' is an item, not an album"},
  };
  for (const auto& [wanted, found] : cases) EXPECT_EQ(Found(FindAlbum, wanted), found) << wanted;
  const std::pair<std::string, std::string> folders[] = {
      {"Twin", "twin1"},
      {"root", "'root' is the root album, not a folder"},
      {"TRIP", "trip"},
      {"lisbon", "'lisbon' is an album, not a folder"}};
  for (const auto& [wanted, found] : folders) EXPECT_EQ(Found(FindFolder, wanted), found) << wanted;
  EXPECT_THAT(Found(FindAlbum, "Lisbno"), HasSubstr("did you mean 'Lisbon'?"));
  for (const char* none : {"Journeys", "tram.jpg", "Lisbno"})
    EXPECT_FALSE(FindAlbumIfAny(library_, none).has_value()) << none;
  EXPECT_TRUE(FindAlbumIfAny(library_, "lisBON").has_value());
  EXPECT_THROW(FindAlbumIfAny(library_, "party"), Failure);
  EXPECT_TRUE(EntryPaths(library_, kAnyKind, "arden1").empty()) << "no id begins so";
}

TEST(NamesTest, ShowsNothingThatATerminalObeys) {
  const std::pair<std::string, std::string> cases[] = {
      {"plain", "plain"},
      {"R&amp;D &#65;", "R&amp;D &#65;"},  // the name of a file is what it is
      {"桜の庭 🐨", "桜の庭 🐨"},
      {"caf\xC3\xA9", "caf\xC3\xA9"},
      {"esc \x1B[2J", "esc ?[2J"},
      {"esc \x1B]0;x\x07", "esc ?]0;x?"},
      {"c1 \u009B31m", "c1 ?31m"},
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
  EXPECT_EQ(FileName("", "../x"), "%2E.%2Fx");
  const std::string cut = FileName(Repeated("桜", 100) + ".jpg", "id");  // three bytes each
  EXPECT_LE(cut.size(), 255u);
  EXPECT_EQ(Shown(cut), cut);
  EXPECT_TRUE(cut.ends_with("桜.jpg")) << cut;
  EXPECT_TRUE(FileName(std::string(90, '/') + ".jpg", "id").ends_with("%2F%2F.jpg"));
}

// The field's end cuts the 16th emoji, which is a pair of references, inside its second one.
TEST(NamesTest, ACutNameKeepsNoHalfCharacter) {
  EXPECT_EQ(CatalogueName(Repeated("\U0001F600", 40)), Repeated("&#55357;&#56832;", 15));
}

TEST(NamesTest, NumbersNamesBeforeTheirExtension) {
  using Names = Words;
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
  const std::pair<std::string, std::string> numberless[] = {{"a (2).jpg", "a.jpg"},
                                                            {"a.b (10).jpg", "a.b.jpg"},
                                                            {"README (3)", "README"},
                                                            {"a (2) (3).jpg", "a (2).jpg"}};
  for (const auto& [name, plain] : numberless) EXPECT_EQ(WithoutNumber(name), plain);
  for (const char* same : {"a (1).jpg", "a (02).jpg", "a(2).jpg", "a (2)b.jpg", "a (-2).jpg",
                           "a (2", " (2).jpg", "a ().jpg", "a (99999999999).jpg"})
    EXPECT_EQ(WithoutNumber(same), same);
  const std::string full = FileName(std::string(300, 'n') + ".jpg", "id");
  EXPECT_EQ(full.size(), 255u);
  EXPECT_EQ(NumberedName(full, 10), std::string(246, 'n') + " (10).jpg");
}

TEST(NamesTest, WritesSizes) {
  const std::pair<std::uint64_t, std::string> cases[] = {
      {0, "0 bytes"},        {1, "1 byte"},       {999, "999 bytes"},        {1000, "1.0 kB"},
      {999'949, "999.9 kB"}, {999'951, "1.0 MB"}, {5'368'709'120, "5.4 GB"}, {~0ull, "18446.7 PB"}};
  for (const auto& [bytes, text] : cases) EXPECT_EQ(ByteText(bytes), text);
  EXPECT_EQ(DurationText(std::chrono::seconds(3600)), "1:00:00");
}

}  // namespace
}  // namespace kelo::host::testing
