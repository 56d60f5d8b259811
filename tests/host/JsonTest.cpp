// Results in JSON, read back with a parser.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "KeloProcess.h"

namespace kelo::host::testing {
namespace {

using Json = nlohmann::json;

class JsonTest : public HostTest {
 protected:
  JsonTest() {
    LogIn();
    service_.SetScript([](const auto& request) -> std::optional<devservice::Reply> {
      if (request.apiMethod == "GetAddressList")
        return devservice::Reply{.body = R"(<a stat="ok" addressList="anna@x.example;)"
                                         R"(bob@x.example"/>)"};
      if (request.apiMethod == "AddItemsToAlbum")
        return devservice::Reply{.body = R"(<a stat="ok"/>)"};
      if (request.apiMethod != "GetHierarchy") return std::nullopt;
      return devservice::Reply{
          .body =
              R"(<a stat="ok"/><rootAlbum><items>)"
              R"(<item itemId="i0" fileName="a &quot;b&quot; &#10;&#26716;.jpg" fileFormat="image/jpeg")"
              R"( shotDate="2024:05:17 10:11:12" modifyDate="2024-05-17T08:11:12Z")"
              R"( origUrl="http://x/?a=1&amp;b=2"/></items></rootAlbum>)"
              R"(<folders><folder folderId="f" folderName="Journeys" albumCount="1"><albums>)"
              R"(<album albumId="a" albumName="Lis/bon" shareFlag="true" itemsCount="1"><items>)"
              "<item itemId=\"i1\" fileName=\"caf\xE9.jpg\"/></items></album>"
              R"(</albums></folder></folders>)"};
    });
  }

  // Each line of standard output as an object.
  std::vector<Json> Results(const std::vector<std::string>& command, int exitCode = 0) const {
    const Outcome outcome = Kelo(command);
    EXPECT_EQ(outcome.exitCode, exitCode) << command[0] << outcome.err;
    std::vector<Json> results;
    std::istringstream lines(outcome.out);
    for (std::string line; std::getline(lines, line);) results.push_back(Json::parse(line));
    return results;
  }
};

TEST_F(JsonTest, EntriesHaveOneShape) {
  const Json root = {{"id", "root"},
                     {"kind", "rootAlbum"},
                     {"name", "root"},
                     {"parentId", nullptr},
                     {"itemCount", 1}};
  const Json picture = {{"id", "i0"},
                        {"kind", "item"},
                        {"name", "a \"b\" \n\u685C.jpg"},
                        {"parentId", "root"},
                        {"format", "JPEG"},
                        {"modified", "2024-05-17T08:11:12Z"},
                        {"shot", "2024-05-17T10:11:12"},
                        {"originalUrl", "http://x/?a=1&b=2"}};
  const Json folder = {{"id", "f"},
                       {"kind", "folder"},
                       {"name", "Journeys"},
                       {"parentId", nullptr},
                       {"itemCount", 1}};
  const Json album = {{"id", "a"},
                      {"kind", "sharedAlbum"},
                      {"name", "Lis/bon"},
                      {"parentId", "f"},
                      {"itemCount", 1}};
  const Json broken = {{"id", "i1"},
                       {"kind", "item"},
                       {"name", "caf\uFFFD.jpg"},
                       {"parentId", "a"},
                       {"format", "unknown"}};
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
  using Objects = std::vector<Json>;
  EXPECT_EQ(Results({"quota", "--json"}),
            Objects({{{"usedBytes", 0}, {"totalBytes", 5ull << 30}}}));
  EXPECT_EQ(Results({"contacts", "--json"}),
            (Objects{{{"address", "anna@x.example"}}, {{"address", "bob@x.example"}}}));
  EXPECT_EQ(Results({"verify", "anna@x.example", "nobody", "--json"}, 1),
            (Objects{{{"address", "anna@x.example"}, {"accepted", true}},
                     {{"address", "nobody"}, {"accepted", false}}}));
  const auto unknown = [](const std::string& message) {
    return Json{{"code", 4112}, {"message", message}};
  };
  EXPECT_EQ(
      Results({"link", "Lis/bon", "i0", "caf\u00E9", "Journeys", "--json"}, 1),
      (Objects{{{"id", "i0"}, {"named", "i0"}},
               {{"id", nullptr},
                {"named", "caf\u00E9"},
                {"error", unknown("there is nothing with the id, name or path 'caf\u00E9'; 'kelo "
                                  "tree' shows what there is")}},
               {{"id", nullptr},
                {"named", "Journeys"},
                {"error", unknown("'Journeys' is not an item")}}}));
  EXPECT_EQ(Results({"ls", "nowhere", "--json"}, 1), Objects{});
}

}  // namespace
}  // namespace kelo::host::testing
