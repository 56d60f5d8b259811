// Recipients, mails, and albums shared between accounts.
#include <gtest/gtest.h>

#include "devservice/Client.h"

namespace kelo::devservice {
namespace {

TEST(Sharing, ReachesTheOtherAccountAndTheOutbox) {
  Service service;
  service.Import(KELO_SAMPLES_DIRECTORY "/mine");
  Client owner(service);
  Client reader(service, service.AddAccount("Sister@Home.example"));
  owner.Open();
  reader.Open();
  const std::string tree = owner.GetHierarchy().body;
  const std::string garden = Between(tree, "<album ", "</album>").back();
  const std::string album = Between(garden, "albumId=\"", "\"").at(0);
  const std::string item = Between(garden, "itemId=\"", "\"").at(0);
  const std::string ask = " itemIdList=\"" + item + "\" sortBy=\"UploadDate\" sortOrder=\"desc\"";
  EXPECT_EQ(reader.Call("GetItemsInfo", ask).Outcome(), "312") << "not shared yet";

  EXPECT_EQ(
      owner
          .Call("ShareAlbum", " albumId=\"" + album +
                                  "\" recipientList=\"mailto:sister@home.example;;x@y.example\""
                                  " subjectText=\"&#233;\" bodyText=\"&lt;hi&gt;\""
                                  " removeGPSInfo=\"true\"")
          .Outcome(),
      "ok");
  const auto mails = service.Outbox();
  ASSERT_EQ(mails.size(), 1u);
  EXPECT_EQ(mails[0].recipients, (std::vector<std::string>{"sister@home.example", "x@y.example"}));
  EXPECT_EQ(mails[0].subject + "|" + mails[0].body, "\xC3\xA9|<hi>");
  EXPECT_TRUE(mails[0].gpsRemoved);
  EXPECT_NE(owner.Send("GET", service.Url() + "/outbox").body.find("x@y.example"),
            std::string::npos);
  EXPECT_NE(owner.Call("GetAddressList").Attribute("addressList").find(";x@y.example"),
            std::string::npos);
  EXPECT_EQ(Between(owner.GetHierarchy().body, "shareFlag=\"true\"", ">").size(), 1u);

  EXPECT_EQ(reader.Call("GetForeignAlbumItems", " needDate=\"true\"").Attribute("albumId"), album);
  EXPECT_EQ(reader.Call("GetItemsInfo", ask).Outcome(), "ok");
  EXPECT_EQ(reader.Call("AddTags", " itemIdList=\"" + item + "\" tagList=\"x\"").Outcome(), "312");
  EXPECT_EQ(reader.Call("AddItemsToAlbum", " albumId=\"" + album + "\" itemIdList=\"x\"").Outcome(),
            "312");
}

TEST(Recipients, OneBadOneIsNamedAtATime) {
  Service service;
  Client client(service);
  client.Open();
  struct Case {
    std::string list;
    std::string bad;  // empty: all are good
  };
  const Case cases[] = {
      {"mailto:a@b.example", ""},
      {"mailto:a@b.example;; c@d.example ", ""},
      {"mailto:Name &lt;a@b.example&gt;;c@d", ""},
      {"AAAAA", "AAAAA"},
      {"mailto:a@b.example; x ;y", "x"},
      {"mailto:a@b@c;d@e", "a@b@c"},
      {"mailto:@b;d@", "@b"},
      {"mailto:d@", "d@"},
      {"mailto:Name &lt;nowhere&gt;", "nowhere"},
      {"mailto:Name &lt;o&apos;where&gt;", "o&apos;where"},  // escaped, as it came
  };
  for (const Case& c : cases) {
    const Response response = client.Call("VerifyRecipients", " recipientList=\"" + c.list + "\"");
    EXPECT_EQ(response.Outcome(), c.bad.empty() ? "ok" : "313") << c.list;
    const auto named = Between(response.body, "Invalid recipient: ", "\"");
    EXPECT_EQ(named.empty() ? "" : named.back(), c.bad) << c.list;
  }
}

}  // namespace
}  // namespace kelo::devservice
