// Results in JSON, read back with a parser.
#include "KeloProcess.h"

namespace kelo::host::testing {
namespace {

using Json = nlohmann::json;

class JsonTest : public HostTest {
 protected:
  JsonTest() {
    LogIn();
    const std::string account =
        R"(<rootAlbum><items>)"
        R"(<item itemId="i0" fileName="a &quot;b&quot; &#10;&#26716;.jpg" fileFormat="image/jpeg")"
        R"( shotDate="2024:05:17 10:11:12" modifyDate="2024-05-17T08:11:12Z")"
        R"( origUrl="http://x/?a=1&amp;b=2"/></items></rootAlbum>)"
        R"(<folders><folder folderId="f" folderName="Journeys" albumCount="1"><albums>)"
        R"(<album albumId="a" albumName="Lis/bon" shareFlag="true" itemsCount="1"><items>)"
        "<item itemId=\"i1\" fileName=\"caf\xE9.jpg\"/></items></album>"
        R"(</albums></folder></folders>)";
    TellAccount(account, [](const LoggedRequest& request) -> std::optional<Reply> {
      if (request.apiMethod == "GetAddressList")
        return Reply{.body = R"(<a stat="ok" addressList="anna@x.example;bob@x.example"/>)"};
      if (request.apiMethod == "AddItemsToAlbum") return Reply{.body = R"(<a stat="ok"/>)"};
      return std::nullopt;
    });
  }

  std::vector<Json> Results(const std::vector<std::string>& command, int exitCode = 0) const {
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
      "shot": "2024-05-17T10:11:12", "originalUrl": "http://x/?a=1&b=2"})");
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
  EXPECT_EQ(Results({"ls", "--json"}), (Entries{root, folder}));
  EXPECT_EQ(Results({"ls", "root", "--json"}), Entries{picture});
  EXPECT_EQ(Results({"ls", "Journeys", "--json", "--sort", "name"}), Entries{album});
  EXPECT_EQ(Results({"info", "i1", "--json", "-q"}), Entries{broken});
  EXPECT_THAT(Kelo({"info", "i1"}).out, HasSubstr("\nin        Lis/bon  [a]\n"));
  EXPECT_EQ(Results({"tree", "--items", "--json"}),
            (Entries{at(root, "/root"), at(picture, "/root/a \"b\" \n\u685C.jpg"),
                     at(folder, "/Journeys"), at(album, "/Journeys/Lis/bon"),
                     at(broken, "/Journeys/Lis/bon/caf\uFFFD.jpg")}));
}

TEST_F(JsonTest, OtherResults) {
  struct Case {
    std::vector<std::string> command;
    const char* results;
    int exitCode = 0;
  };
  const Case cases[] = {
      {{"quota"}, R"([{"usedBytes": 0, "totalBytes": 5368709120}])"},
      {{"contacts"}, R"([{"address": "anna@x.example"}, {"address": "bob@x.example"}])"},
      {{"verify", "anna@x.example", "nobody"},
       R"([{"address": "anna@x.example", "accepted": true},
           {"address": "nobody", "accepted": false}])",
       1},
      {{"link", "Lis/bon", "i0", "caf\u00E9", "Journeys"},
       R"([{"id": "i0", "named": "i0"},
           {"id": null, "named": "caf\u00E9", "error": {"code": 4112, "message":
            "there is nothing with the id, name or path 'caf\u00E9'; 'kelo tree' shows what there is"}},
           {"id": null, "named": "Journeys",
            "error": {"code": 4112, "message": "'Journeys' is not an item"}}])",
       1},
      {{"ls", "nowhere"}, "[]", 1}};
  for (Case one : cases) {
    one.command.push_back("--json");
    EXPECT_EQ(Json(Results(one.command, one.exitCode)), Json::parse(one.results));
  }
}

}  // namespace
}  // namespace kelo::host::testing
