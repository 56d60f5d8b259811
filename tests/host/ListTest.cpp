// The orders and the dates of listings; and results in JSON, read back with a parser.

#include <atomic>
#include <cstdlib>
#include <sstream>

#include "HostTest.h"
#include "host/names/Dates.h"

namespace kelo::host::testing {
namespace {

class ListTest : public HostTest {
 protected:
  // In a place two hours east of Greenwich, in summer.
  Outcome ListRoot(const Words& options = {}) const {
    return Kelo("ls root" + options, Environment() + "TZ=EET-2");
  }

  // The last column of each line.
  Words ListedNames(const Words& options) const {
    const Outcome listing = ListRoot(options);
    EXPECT_EQ(listing.exitCode, 0) << listing.err;
    Words names;
    std::istringstream lines(listing.out);
    for (std::string line; std::getline(lines, line);)
      names.push_back(line.substr(line.rfind("  ") + 2));
    return names;
  }
};

TEST_F(ListTest, ReadsEveryFormOfADate) {
  ASSERT_EQ(::setenv("TZ", "EET-2", 1), 0);
  ::tzset();
  struct Case {
    std::string raw, shown, iso;
  };
  const Case cases[] = {
      {"2024-05-17T22:11:12Z", "2024-05-18 00:11", "2024-05-17T22:11:12Z"},
      {"2024-05-17T10:11:12", "2024-05-17 10:11", "2024-05-17T10:11:12"},
      {"2024:05:17 10:11:12", "2024-05-17 10:11", "2024-05-17T10:11:12"},
      {"2024-05-17T10:11:12.345Z", "2024-05-17 12:11", "2024-05-17T10:11:12Z"},
      {"2024-05-17T10:11:12+09:00", "2024-05-17 03:11", "2024-05-17T01:11:12Z"},
      {"2024-05-17T10:11:12-0330", "2024-05-17 15:41", "2024-05-17T13:41:12Z"},
      {"2024-02-30T10:11:12Z", "2024-02-30T10:11:12Z", "2024-02-30T10:11:12Z"},
      {"2024-05-17T24:11:12Z", "2024-05-17T24:11:12Z", "2024-05-17T24:11:12Z"},
      {"0000:00:00 00:00:00", "0000:00:00 00:00:00", "0000:00:00 00:00:00"},
      {"2024-05-17", "2024-05-17", "2024-05-17"},
      {"", "", ""},
      {"soon\x1B", "soon?", "soon\x1B"},
  };
  for (const Case& one : cases) {
    EXPECT_EQ(DateText(one.raw, DateClock::kCamera), one.shown) << one.raw;
    EXPECT_EQ(IsoDate(one.raw, DateClock::kCamera), one.iso) << one.raw;
  }
  constexpr auto most = std::numeric_limits<std::int64_t>::max();
  const std::pair<std::int64_t, std::string> files[] = {{-1, "1969-12-31T23:59:59Z"},
                                                        {most, "9999-12-31T23:59:59Z"},
                                                        {-most, "0000-01-01T00:00:00Z"}};
  for (const auto& [seconds, text] : files) EXPECT_EQ(UniversalDate(seconds), text);
  EXPECT_EQ(DateText("2024-05-17 10:11:12", DateClock::kUniversal), "2024-05-17 12:11");
  EXPECT_EQ(IsoDate("2024-05-17 10:11:12", DateClock::kUniversal), "2024-05-17T10:11:12Z");
}

TEST_F(ListTest, SortsAsAPersonWould) {
  LogIn();
  TellAccount(
      R"(<rootAlbum><items><item itemId="1" fileName="img10.jpg" shotDate="2024:05:17 10:00:00")"
      R"( uploadDate="2025-01-03T00:00:00Z" modifyDate="2001-01-01T00:00:00Z"/>)"
      R"(<item itemId="2" fileName="&#201;toile.jpg" shotDate="2024-05-17T09:00:00")"
      R"( uploadDate="2025-01-02T00:00:00Z" modifyDate="2001-01-01T00:00:00Z"/>)"
      R"(<item itemId="3" fileName="IMG2.jpg" uploadDate="2025-01-01 00:00:00")"
      R"( modifyDate="2024-05-17T07:30:00Z"/>)"
      R"(<item itemId="4" fileName="zebra.jpg"/><item itemId="5" fileName="egg.jpg" )"
      R"(shotDate="2024-05-17T10:00:00" uploadDate="2025-01-03T00:00:00Z"/></items></rootAlbum>)");
  const std::string e = "\xC3\x89toile.jpg";
  const std::pair<const char*, Words> cases[] = {
      {"", {"egg.jpg", e, "IMG2.jpg", "img10.jpg", "zebra.jpg"}},
      {"--reverse -q", {"zebra.jpg", "img10.jpg", "IMG2.jpg", e, "egg.jpg"}},
      {"--sort name", {"egg.jpg", e, "IMG2.jpg", "img10.jpg", "zebra.jpg"}},
      {"--sort shot", {e, "IMG2.jpg", "egg.jpg", "img10.jpg", "zebra.jpg"}},
      {"--sort upload", {"IMG2.jpg", e, "egg.jpg", "img10.jpg", "zebra.jpg"}},
      {"--sort upload -r", {"zebra.jpg", "img10.jpg", "egg.jpg", e, "IMG2.jpg"}},
  };
  for (const auto& [options, names] : cases) EXPECT_EQ(ListedNames(options), names) << options;
  EXPECT_THAT(Kelo("tree --items -q").out,
              ::testing::ContainsRegex("egg[^Z]*toile[^Z]*IMG2[^Z]*img10[^Z]*zebra"));
  // The date that is shown is the one that sorts, on the clock where kelo runs.
  EXPECT_THAT(ListRoot().out, HasSubstr("  2024-05-17 09:30  IMG2.jpg\n"));
  EXPECT_THAT(ListRoot("--sort shot").out, AllOf(HasSubstr(" ~2024-05-17 09:30  IMG2.jpg\n"),
                                                 HasSubstr("  2024-05-17 10:00  egg.jpg\n")));
  EXPECT_THAT(ListRoot("--sort upload").out, HasSubstr("  2025-01-01 02:00  IMG2.jpg\n"));
}

TEST_F(ListTest, FreshIsWhatTheServiceTellsNow) {
  LogIn();
  std::atomic<bool> known = true;
  const auto named = [](const std::string& name) {
    return R"(<items><item itemId="i" fileName=")" + name +
           R"(.jpg" fileFormat="image/tiff"></item></items>)";
  };
  TellAccount("<rootAlbum>" + named("old") + "</rootAlbum>",
              [&](const ClientRequest& request) -> std::optional<Reply> {
                if (request.method != "GetItemsInfo") return std::nullopt;
                return Reply{.body = "<a stat=\"ok\"/>" + (known ? named("new") : "<items/>")};
              });
  const Outcome fresh = Kelo("info old.jpg --fresh");
  EXPECT_EQ(fresh.out,
            "name      new.jpg\nid        i\nkind      item\nformat    TIFF\n"
            "in        root\n");
  EXPECT_THAT(fresh.err, HasSubstr("the service does not tell size, caption, rating or tags"));
  known = false;
  EXPECT_THAT(Kelo("info old.jpg --fresh").err, HasSubstr("no such item (4112)"));
  EXPECT_THAT(Kelo("info root --fresh").err, HasSubstr("'root' is not an item"));
}

using Json = nlohmann::json;

class JsonTest : public HostTest {
 protected:
  JsonTest() {
    LogIn();
    const std::string account =
        R"(<rootAlbum><items>)"
        R"(<item itemId="i0" fileName="a &quot;b&quot; &#10;&#26716;.jpg" fileFormat="image/jpeg")"
        R"( shotDate="2024:05:17 10:11:12" modifyDate="2024-05-17T08:11:12Z")"
        R"( origUrl="http://x/?a=1&amp;b=2" screenUrl="http://x/s"/></items></rootAlbum>)"
        R"(<folders><folder folderId="f" folderName="Journeys" albumCount="1"><albums>)"
        R"(<album albumId="a" albumName="Lis/bon" shareFlag="true" itemsCount="1"><items>)"
        "<item itemId=\"i1\" fileName=\"caf\xE9.jpg\"/></items></album>"
        R"(</albums></folder></folders>)";
    TellAccount(account, [](const ClientRequest& request) -> std::optional<Reply> {
      if (request.method == "GetAddressList")
        return Reply{.body = R"(<a stat="ok" addressList="anna@x.example;bob@x.example"/>)"};
      for (const char* method : {"AddItemsToAlbum", "ModifyProps", "AddTags", "ShareAlbum"})
        if (request.method == method) return Reply{.body = R"(<a stat="ok"/>)"};
      return std::nullopt;
    });
  }

  std::vector<Json> Results(const Words& command, int exitCode = 0) const {
    const Outcome outcome = Kelo(command);
    EXPECT_EQ(outcome.exitCode, exitCode) << command[0] << outcome.err;
    return Objects(outcome.out);
  }
};

TEST_F(JsonTest, EntriesHaveOneShape) {
  const Json root = Json::parse(R"({"id": "root", "kind": "rootAlbum", "name": "root",
      "parentId": null, "itemCount": 1})");
  const Json picture = Json::parse(R"({"id": "i0", "kind": "item", "name": "a \"b\" \n\u685C.jpg",
      "parentId": "root", "format": "JPEG", "modified": "2024-05-17T08:11:12Z",
      "shot": "2024-05-17T10:11:12", "originalUrl": "http://x/?a=1&b=2",
      "screenUrl": "http://x/s"})");
  const Json folder = Json::parse(R"({"id": "f", "kind": "folder", "name": "Journeys",
      "parentId": null, "itemCount": 1})");
  const Json album = Json::parse(R"({"id": "a", "kind": "sharedAlbum", "name": "Lis/bon",
      "parentId": "f", "itemCount": 1})");
  const Json broken = Json::parse(R"({"id": "i1", "kind": "item", "name": "caf\uFFFD.jpg",
      "parentId": "a", "format": "unknown"})");
  const auto at = [](Json entry, const std::string& path) {
    entry["path"] = path;
    return entry;
  };
  using Entries = std::vector<Json>;
  EXPECT_EQ(Results("ls --json"), (Entries{root, folder}));
  EXPECT_EQ(Results("ls root --json"), Entries{picture});
  EXPECT_EQ(Results("ls Journeys --json --sort name"), Entries{album});
  EXPECT_EQ(Results("info i1 --json -q"), Entries{broken});
  EXPECT_THAT(Kelo("info i1").out, HasSubstr("\nin        Lis/bon  [a]\n"));
  EXPECT_THAT(Kelo("info i0").out, HasSubstr("\nscreen    http://x/s\n"));
  EXPECT_EQ(Results("tree --items --json"),
            (Entries{at(root, "/root"), at(picture, "/root/a \"b\" \n\u685C.jpg"),
                     at(folder, "/Journeys"), at(album, "/Journeys/Lis/bon"),
                     at(broken, "/Journeys/Lis/bon/caf\uFFFD.jpg")}));
}

TEST_F(JsonTest, EachResultIsAnObjectOfItsCommand) {
  struct Case {
    Words command;
    std::string results;
    int exitCode = 0;
  };
  const std::string here = Write("b.jpg", "b").string();
  const Case cases[] = {
      {"quota", R"([{"usedBytes": 0, "totalBytes": 5368709120}])"},
      {"extend", R"([{"alive": true}])"},
      {{"login", "--remember", "--url", service_.Url()},
       "[{\"url\": \"" + service_.Url() + "\", \"remembered\": true}]"},
      {"caption i0 Sea", R"([{"id": "i0", "named": "i0", "caption": "Sea"}])"},
      {"rate i0 3", R"([{"id": "i0", "named": "i0", "rating": 3}])"},
      {"tag Lis/bon sea", R"([{"id": "a", "named": "Lis/bon", "tags": "sea", "itemCount": 1}])"},
      {"mail a --to x@x.example", R"([{"address": "x@x.example", "accepted": true}])"},
      {"contacts", R"([{"address": "anna@x.example"}, {"address": "bob@x.example"}])"},
      {"verify anna@x.example nobody",
       R"([{"address": "anna@x.example", "accepted": true},
           {"address": "nobody", "accepted": false}])",
       1},
      {"link Lis/bon i0 caf\u00E9 Journeys",
       R"([{"id": "i0", "named": "i0"},
           {"id": null, "named": "caf\u00E9", "error": {"code": 4112, "message":
            "there is nothing with the id, name or path 'caf\u00E9'; 'kelo tree' shows what there is"}},
           {"id": null, "named": "Journeys",
            "error": {"code": 4112, "message": "'Journeys' is a folder; name an item"}},
           {"summary": {"added": 1, "failed": 2, "exitCode": 1}}])",
       1},
      {{"check", here, "a", "x"},
       R"([{"id": null, "named": "x", "outcome": "notFound", "error": {"code": 4112, "message":
            "there is nothing with the id, name or path 'x'; 'kelo tree' shows what there is"}},
           {"path": ")" +
           here + R"(", "bytes": 1, "outcome": "onlyHere"},
           {"outcome": "onlyThere", "id": "i1", "itemPath": "/Journeys/Lis/bon/caf\uFFFD.jpg"},
           {"summary": {"same": 0, "changed": 0, "onlyHere": 1, "onlyThere": 1, "failed": 0,
            "notFound": 1, "exitCode": 1}}])",
       1},
      {"ls nowhere", "[]", 1}};
  for (const Case& one : cases)
    EXPECT_EQ(Json(Results(one.command + "--json", one.exitCode)), Json::parse(one.results));
}

}  // namespace
}  // namespace kelo::host::testing
