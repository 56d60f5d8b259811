// Each kind of call once against the service, and what is refused before it.
#include <gmock/gmock.h>

#include <array>

#include "LibraryFixture.h"

namespace kelo::testing {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

constexpr const char* kName = "Fish & Chips <\u65E5\u672C> \U0001F600";

TEST_F(LibraryTest, SessionsAreOpenedHandedOutAndRestored) {
  EXPECT_EQ(Failure([&] { library_->Session(); }),
            "cannot read the session: there is no session (4098)");
  Open();
  const kelo::Session session = library_->Session();
  library_->ExtendToken(session, service().Secret());
  EXPECT_EQ(Requests("VerifyRecipients").size(), 1u);
  library_->Restore({}, service().Secret());
  EXPECT_THAT(Failure([&] { library_->Capacity(); }), HasSubstr("(4116)"));
  library_->Restore(session, service().Secret());
  EXPECT_EQ(library_->Capacity().used, 0u);
  EXPECT_EQ(library_->Capacity().capacity, 5ull << 30);
  library_->Close();
  EXPECT_EQ(Requests("CloseSession").size(), 1u);
  // The record alone tells this failure.
  EXPECT_THAT(Failure([&] { library_->Capacity(); }), StartsWith("cannot ask for the storage: "));
}

TEST_F(LibraryTest, TheCatalogueIsInUtf8AndTheRawTextIsThere) {
  Open();
  const std::string folder = library_->AddFolder("Trips");
  const std::string album = library_->AddAlbum(folder, kName);
  library_->Load();
  EXPECT_EQ(library_->Count(kRoot, Kind::Folder | Kind::Album | Kind::RootAlbum), 2u);
  const std::vector<Item> albums = library_->List(kEverything, Kind::Album);
  ASSERT_EQ(albums.size(), 1u);
  EXPECT_EQ(albums[0].id, album);
  EXPECT_EQ(albums[0].parentId, folder);
  EXPECT_EQ(albums[0].kind, Kind::Album);
  EXPECT_EQ(albums[0].name, kName);
  EXPECT_EQ(albums[0].raw.name, "Fish &amp; Chips &lt;&#26085;&#26412;&gt; &#55357;&#56832;");
  EXPECT_EQ(FieldText(library_->ListRecords(folder, Kind::Album).at(0).name), albums[0].raw.name);
  EXPECT_EQ(library_->Info(kRootAlbum).kind, Kind::RootAlbum);
  EXPECT_EQ(Failure([&] { library_->List("nothing", Kind::Album); }),
            "cannot list the items: no such folder or album, or not one for such entries (4115)");
}

TEST_F(LibraryTest, FilesGoAndComeEachWithItsOwnOutcome) {
  Open();
  library_->Load();
  const std::string album = library_->AddAlbum(kRoot, "Harbour");
  const std::string first = folder().Write("first.jpg", "the first");
  const std::string second = folder().Write("second.jpg", "the second one");
  const std::vector<UploadFile> files = {
      {.path = first, .name = kName, .tags = "sea,\u6D77"},
      {.path = folder().Path("missing.jpg")},
      {.path = second, .modifyDate = "2008-05-17T10:00:00Z"},
      {.path = second, .name = std::string(256, 'n'), .tags = std::string(904, 't')}};
  const auto uploaded = library_->Upload(album, files);
  ASSERT_EQ(uploaded.size(), 4u);
  EXPECT_FALSE(uploaded[0].error || uploaded[2].error);
  ASSERT_TRUE(uploaded[1].error && uploaded[3].error);
  EXPECT_EQ(uploaded[1].error->Code(), 4098u);
  EXPECT_EQ(uploaded[3].error->Words(), "the tag list has 904 bytes, and at most 903 are possible");
  EXPECT_NE(uploaded[2].id, "");

  library_->Load();
  const std::string secondUrl = library_->Info(uploaded[2].id).originalUrl;
  const Item item = library_->FreshInfo(uploaded[0].id);
  EXPECT_EQ(item.name, kName);
  EXPECT_EQ(item.id, uploaded[0].id);
  EXPECT_EQ(library_->Info(uploaded[2].id).parentId, album);
  EXPECT_THAT(Requests("UploadItems").at(0).body,
              HasSubstr("fileModifyDate=\"2008-05-17T10:00:00Z\""));

  const auto again = library_->Upload(album, files, {.checkDuplicates = true});
  ASSERT_TRUE(again[0].error);
  EXPECT_EQ(again[0].error->Code(), uint32_t{kKELOResult_AlreadyInAlbum});

  const std::string path = folder().Path("download");
  const auto downloaded = library_->Download({{item.originalUrl, path},
                                              {item.originalUrl, path},
                                              {std::string(256, 'u'), path},
                                              {secondUrl, path + "2"},
                                              {"", path + "3"}});
  EXPECT_EQ(downloaded[0].error, std::nullopt);
  ASSERT_FALSE(downloaded[3].error) << downloaded[3].error->what();
  EXPECT_EQ(downloaded[3].size, 14u);
  EXPECT_EQ(folder().Read("download"), "the first");
  EXPECT_EQ(downloaded[1].error->Words(), "a file of that name exists already");
  EXPECT_EQ(downloaded[2].error->Code(), 4112u);
  EXPECT_EQ(downloaded[4].error->Words(), "the URL is empty");
}

TEST_F(LibraryTest, EditsAndLinksTellEachRefusal) {
  Open();
  library_->Load();
  const std::string file = folder().Write("a.jpg", "a");
  const std::string id = library_->Upload(kRoot, {{.path = file}}).at(0).id;
  const auto added = library_->AddContainers(
      kRoot, {{"One"}, {std::string(300, 'x')}, {"Folder", Kind::Folder}, {"No", Kind::FileItem}});
  EXPECT_FALSE(added[0].error || added[2].error);
  EXPECT_EQ(added[1].error->Code(), 4112u);
  EXPECT_EQ(added[3].error->Code(), 4115u);
  library_->Load();
  const auto linked = library_->AddLinks(added[0].id, {id, "nothing"});
  EXPECT_FALSE(linked[0].error);
  EXPECT_TRUE(linked[1].error);
  // Whatever values are in.
  std::string array[] = {id};
  EXPECT_FALSE(library_->AddLinks(added[0].id, array)[0].error);
  EXPECT_FALSE(library_->AddLinks(added[0].id, std::array{id})[0].error);
  EXPECT_FALSE(library_->AddLinks(added[0].id, std::vector{id})[0].error);
  EXPECT_FALSE(library_->AddLinks(added[0].id, std::span<const std::string>(array))[0].error);
  EXPECT_FALSE(library_->AddLinks(added[0].id, std::span(array))[0].error);

  library_->Modify(id, {.caption = kName, .captionFlag = true, .rating = 3});
  EXPECT_THAT(Requests("ModifyProps").at(0).body, HasSubstr("\"rating\" value=\"3\""));
  EXPECT_THAT(Failure([&] { library_->Modify(id, {.rating = 9}); }),
              StartsWith("cannot change the item: "));
  EXPECT_THAT(Failure([&] { library_->Modify(id, {}); }), HasSubstr("no property is given"));
  library_->Load();
  for (const std::string_view target :
       {std::string_view(id), std::string_view(added[0].id), kRootAlbum})
    library_->AddTags(target, "sea");
  EXPECT_EQ(Requests("AddTags").size(), 3u);
  for (const std::string& wrong : {added[2].id, std::string("nothing")})
    EXPECT_EQ(Failure([&] { library_->AddTags(wrong, "sea"); }),
              "cannot add the tags: no such picture or album of yours (4115)");
}

TEST_F(LibraryTest, MailGoesToWhomTheServiceAccepts) {
  Open();
  library_->Load();
  const std::string album = library_->AddAlbum(kRoot, "Harbour");
  const Recipients verified = library_->VerifyRecipients({"a@x", "no address", "", "b@x; c@x"});
  EXPECT_THAT(verified.accepted, ElementsAre("a@x", "b@x", "c@x"));
  EXPECT_THAT(verified.rejected, ElementsAre("no address"));

  const Mail mail{
      .recipients = {"a@x", "bad"}, .subject = kName, .text = "Hello\n", .verify = true};
  const Recipients sent = library_->SendMail(album, mail);
  EXPECT_THAT(sent.accepted, ElementsAre("a@x"));
  EXPECT_THAT(sent.rejected, ElementsAre("bad"));
  ASSERT_EQ(service().Outbox().size(), 1u);
  EXPECT_EQ(service().Outbox()[0].subject, kName);
  EXPECT_THAT(library_->SendMail(album, {.recipients = {"b@x"}}).accepted, ElementsAre("b@x"));
  EXPECT_THAT(Failure([&] { library_->SendMail("nothing", mail); }),
              StartsWith("cannot send the mail: "));
  EXPECT_THAT(library_->AddressList(), ::testing::IsSupersetOf({"a@x", "b@x"}));

  Script("GetAddressList", "<r stat=\"ok\" addressList=\"R&amp;D@x; &#26085;@x\" />");
  EXPECT_THAT(library_->AddressList(), ElementsAre("R&D@x", "\u65E5@x"));
}

// Nothing of it is sent, and nothing is cut.
TEST_F(LibraryTest, WhatARecordCannotHoldIsRefused) {
  Open();
  const std::string nul("a\0b", 3);
  const std::vector<std::string> addresses = {"a@x", nul};
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[&] { library_->Open({.apiKey = std::string(33, 'k')}); },
       "the API key has 33 bytes, and at most 32 are possible (4112)"},
      {[&] { library_->Open({.signingSecret = nul}); }, "the signing secret has a NUL in it"},
      {[&] { library_->Restore({}, std::string(33, 's')); }, "at most 32"},
      {[&] { library_->Count(std::string(41, 'i'), Kind::Album); }, "the id has 41 bytes"},
      {[&] { library_->AddContainers(nul, {{"a"}}); }, "the id has a NUL in it"},
      {[&] { library_->AddFolder("\xFF"); }, "the name is not UTF-8"},
      {[&] { library_->AddFolder(std::string(256, 'n')); }, "the name has 256 bytes"},
      {[&] { library_->Modify("id", {.caption = std::string(320, 'c')}); }, "the caption has 320"},
      {[&] { library_->AddTags("id", std::string(904, 't')); }, "the tag list has 904"},
      {[&] { library_->VerifyRecipients(addresses); }, "the address list has a NUL in it"},
      {[&] { library_->SendMail("id", {.subject = "\x80"}); }, "the text is not UTF-8"},
      {[&] { library_->SendMail("", {}); }, "cannot send the mail: no album is given"},
      {[&] { library_->Upload(std::string(41, 'i'), {}); }, "the id has 41 bytes"}};
  for (const auto& [call, words] : cases) EXPECT_THAT(Failure(call), HasSubstr(words));
  EXPECT_EQ(service().RequestCount(), 0u);
  // Texts of exactly the width.
  EXPECT_EQ(library_->AddContainers(kRoot, {{std::string(255, 'n')}})[0].error, std::nullopt);
}

TEST_F(LibraryTest, BatchesThatAreRefusedAsAWholeThrow) {
  const std::string file = folder().Write("a.jpg", "a");
  const std::vector<DownloadFile> downloads = {{Url(), file + "2"}};
  const std::function<void()> calls[] = {
      [&] { library_->Upload("", {{.path = file}}); }, [&] { library_->Download(downloads); },
      [&] { library_->AddContainers(kRoot, {{"a"}}); }, [&] { library_->AddLinks("a", {"b"}); }};
  for (const auto& call : calls)
    EXPECT_THAT(Failure(call),
                HasSubstr("the session has ended, or the service does not know it (4116)"));
  EXPECT_TRUE(library_->Download({}).empty());
}

TEST_F(LibraryTest, CommandsOfManyThreadsTakeTurns) {
  Open();
  std::vector<std::thread> threads;
  std::atomic<int> done = 0;
  for (int i = 0; i < 4; ++i)
    threads.emplace_back([&] {
      for (int round = 0; round < 10; ++round) done += library_->Capacity().used == 0 ? 1 : 0;
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(done, 40);
  EXPECT_EQ(service().RequestCount(), 40u);
}

}  // namespace
}  // namespace kelo::testing
