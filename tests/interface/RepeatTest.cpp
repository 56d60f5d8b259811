// A peer that closes a kept connection just as the next document sets out: what only reads is sent
// once more, what changes something never.

#include "http/SocketServer.h"
#include "support/CommandTest.h"

namespace kelo::testing {
namespace {

constexpr const char* kAnswer =
    "<r stat=\"ok\" dataCapacity=\"1\" storageCapacity=\"2\" addressList=\"\" totalCount=\"0\" "
    "albumId=\"A\"><items><item itemId=\"I1\" fileName=\"f\"></item></items></r>";

class RepeatTest : public CommandTest {
 protected:
  uint32_t SendTo(const SocketServer& server, uint32_t code) {
    HostRecords records(folder());
    records.session = SessionAt(server.Url());
    return SendOne(code, records.Of(code), "I1", kKELOOption_AskService);
  }
  void UseSessionAt(const SocketServer& server) { UseSession(SessionAt(server.Url())); }
  static std::string CallId(const std::string& request) {
    const size_t at = request.find("callId=");
    return request.substr(at, request.find('&', at) - at);
  }
};

// Answers the first request of the first connection, hears the second and leaves.
void LeaveAfterTheFirst(Peer& peer) {
  const bool leaves = peer.Index() == 0;
  for (int i = 0; !peer.ReadRequest().empty() && (!leaves || i == 0); ++i)
    if (!peer.Reply(200, kAnswer)) return;
}

TEST_F(RepeatTest, OnlyWhatReadsIsSentOnceMore) {
  const struct {
    uint32_t code;
    bool repeated;
  } cases[] = {
      {kKELOCommand_GetStorageCapacity, true}, {kKELOCommand_GetAddressList, true},
      {kKELOCommand_GetItemInfo, true},        {kKELOCommand_VerifyRecipient, true},
      {kKELOCommand_LoadHierarchy, true},      {kKELOCommand_ExtendTokenLimit, true},
      {kKELOCommand_ModifyProps, false},       {kKELOCommand_AddNewLink, false},
      {kKELOCommand_AddItems, false},          {kKELOCommand_SendPictureMail, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.code);
    SocketServer server(LeaveAfterTheFirst);
    UseSessionAt(server);
    ASSERT_EQ(SendTo(server, kKELOCommand_GetStorageCapacity), 0u);
    EXPECT_EQ(SendTo(server, c.code), c.repeated ? 0u : uint32_t{kKELOResult_ConnectionLost});
    const auto requests = server.Requests();
    if (!c.repeated) {
      EXPECT_EQ(requests.size(), 2u);
      continue;
    }
    ASSERT_GE(requests.size(), 3u);
    EXPECT_GE(server.Connections(), 2);
    EXPECT_NE(CallId(requests[1]), CallId(requests[2])) << "the same call identifier twice";
    const auto body = [](const std::string& request) {
      return request.substr(request.find("\r\n\r\n") + 4);
    };
    EXPECT_EQ(body(requests[1]), body(requests[2]));
    LoggedRequest repeated;
    repeated.query = requests[2].substr(requests[2].find('?') + 1);
    repeated.query.resize(repeated.query.find(' '));
    ExpectSigned(repeated, body(requests[2]));
  }
}

TEST_F(RepeatTest, OnceAndOnlyWhenNothingCame) {
  // One answer, and from then on every request is heard and left.
  SocketServer fickle([](Peer& peer) {
    peer.ReadRequest();
    if (peer.Index() > 0) return;
    peer.Reply(200, kAnswer);
    peer.ReadRequest();
  });
  UseSessionAt(fickle);
  ASSERT_EQ(SendTo(fickle, kKELOCommand_GetAddressList), 0u);
  tagKELO_StorageCapacityInfo capacity{};
  EXPECT_EQ(Send(kKELOCommand_GetStorageCapacity, Record(&capacity)),
            uint32_t{kKELOResult_ConnectionLost});
  EXPECT_EQ(fickle.Requests().size(), 3u);

  SocketServer torn([](Peer& peer) {
    peer.ReadRequest();
    peer.Reply(200, kAnswer);
    if (!peer.ReadRequest().empty()) peer.Send("HTTP/1.1 200 OK\r\n");
  });
  UseSessionAt(torn);
  ASSERT_EQ(SendTo(torn, kKELOCommand_GetAddressList), 0u);
  EXPECT_EQ(Send(kKELOCommand_GetStorageCapacity, Record(&capacity)),
            uint32_t{kKELOResult_ConnectionLost});
  EXPECT_EQ(torn.Requests().size(), 2u);

  // A connection that was new has nothing to do with how long another one was kept.
  SocketServer gone([](Peer& peer) { peer.ReadRequest(); });
  UseSessionAt(gone);
  EXPECT_EQ(Send(kKELOCommand_GetStorageCapacity, Record(&capacity)),
            uint32_t{kKELOResult_ConnectionLost});
  EXPECT_EQ(gone.Requests().size(), 1u);

  // The last document of a load, whose method has an attribute beside it.
  SocketServer late([](Peer& peer) {
    for (std::string request; !(request = peer.ReadRequest()).empty();) {
      if (peer.Index() == 0 && request.find("<GetForeignAlbumItems") != std::string::npos) return;
      peer.Reply(200, kAnswer);
    }
  });
  UseSessionAt(late);
  EXPECT_EQ(SendTo(late, kKELOCommand_LoadHierarchy), 0u);
  EXPECT_EQ(late.Requests().size(), 4u);
}

}  // namespace
}  // namespace kelo::testing
