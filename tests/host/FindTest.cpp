// What a person may write for an entry of the account.
#include <gmock/gmock.h>

#include "KeloProcess.h"
#include "host/account/EntryPaths.h"
#include "host/account/Find.h"
#include "host/library/StateFile.h"
#include "host/names/ResultText.h"

namespace kelo::host::testing {
namespace {

// Names as the service writes them; ids that show where an entry lies.
const std::string kAccount =
    R"(<rootAlbum><items><item itemId="loose" fileName="loose.jpg"/></items></rootAlbum>)"
    R"(<folders><folder folderId="journeys" folderName="Journeys"><albums>)"
    R"(<album albumId="lisbon" albumName="Lisbon"><items>)"
    R"(<item itemId="tram" fileName="tram.jpg"/><item itemId="same1" fileName="same.jpg"/>)"
    R"(</items></album>)"
    R"(<album albumId="cafe" albumName="Caf&#233; Stra&#223;e"><items></items></album>)"
    R"(</albums></folder><folder folderId="home" folderName="Home"><albums>)"
    R"(<album albumId="garden1" albumName="Garden"><items>)"
    R"(<item itemId="same2" fileName="same.jpg"/><item itemId="tram" fileName="tram.jpg"/>)"
    R"(</items></album>)"
    R"(<album albumId="acdc" albumName="AC/DC"><items><item itemId="live" fileName="live.jpg"/>)"
    R"(</items></album></albums></folder>)"
    R"(<folder folderId="trip" folderName="Trip"><albums><album albumId="trips" albumName="Trip">)"
    R"(<items></items></album></albums></folder>)"
    R"(<folder folderId="twin1" folderName="Twin"><albums></albums></folder></folders>)"
    R"(<albums><album albumId="garden2" albumName="Garden"><items></items></album>)"
    R"(<album albumId="party1" albumName="Party"><items></items></album>)"
    R"(<album albumId="party2" albumName="PARTY"><items></items></album>)"
    R"(<album albumId="twin2" albumName="Twin"><items></items></album>)"
    R"(<album albumId="long" albumName="LONG"><items></items></album></albums>)";

std::string Repeated(std::string_view text, int times) {
  std::string all;
  for (; times > 0; --times) all += text;
  return all;
}

class FindTest : public HostTest {
 protected:
  FindTest() {
    std::string account = kAccount;
    account.replace(account.find("LONG"), 4, Repeated("&#26716;", 40));
    TellAccount(account);
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
      {"Journeys/Lisbon", "lisbon"},
      {"/Journeys/Lisbon", "lisbon"},
      {"/Garden", "garden2"},
      {"Home/Garden", "garden1"},
      {"Cafe\xCC\x81 Stra\xC3\x9F"
       "e",
       "cafe"},
      {"CAF\xC3\x89 STRASSE", "cafe"},
      {"Trip", "trip"},
      {"trip/trip", "trips"},
      {"Party", "party1"},
      {"PARTY", "party2"},
      {"tram.jpg", "tram"},  // in two albums, but one picture
      {"/journeys/Lisbon/tram.jpg", "tram"},
      {"Lisbon/same.jpg", "same1"},
      {"loose.jpg", "loose"},
      {"root/loose.jpg", "loose"},
      {"Home/AC/DC", "acdc"},
      {"home/ac/dc/live.jpg", "live"},
      {Repeated("\xE6\xA1\x9C", 40), "long"},  // longer than the catalogue keeps
      {Repeated("\xE6\xA1\x9C", 31), "long"},
  };
  for (const auto& [wanted, id] : cases) EXPECT_EQ(Found(FindEntry, wanted), id) << wanted;
}

TEST_F(FindTest, SaysWhatElseMayBeMeant) {
  const std::pair<std::string, std::vector<std::string>> cases[] = {
      {"", {"names nothing"}},
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
      {"Journeys", "'Journeys' is not an album"},
      {"journeys", "'journeys' is not an album"},
      {"tram", "'tram' is not an album"},
  };
  for (const auto& [wanted, found] : cases) EXPECT_EQ(Found(FindAlbum, wanted), found) << wanted;
  const std::pair<std::string, std::string> folders[] = {{"Twin", "twin1"},
                                                         {"TRIP", "trip"},
                                                         {"Lisbon", "'Lisbon' is not a folder"},
                                                         {"lisbon", "'lisbon' is not a folder"}};
  for (const auto& [wanted, found] : folders) EXPECT_EQ(Found(FindFolder, wanted), found) << wanted;
  EXPECT_THAT(Found(FindAlbum, "Lisbno"), HasSubstr("did you mean 'Lisbon'?"));
  for (const char* none : {"Journeys", "tram.jpg", "Lisbno"})
    EXPECT_FALSE(FindAlbumIfAny(library_, none).has_value()) << none;
  EXPECT_TRUE(FindAlbumIfAny(library_, "lisBON").has_value());
  EXPECT_THROW(FindAlbumIfAny(library_, "party"), Failure);
  EXPECT_TRUE(EntryPaths(library_, {.albums = true}, "arden1").empty()) << "no id begins so";
}

}  // namespace
}  // namespace kelo::host::testing
