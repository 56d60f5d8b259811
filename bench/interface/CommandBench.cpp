// Commands that make many small requests, beside a bare libcurl handle that makes as many requests
// of the same bytes to the same service: what signing, reading answers and the catalogue add.
#include <curl/curl.h>

#include <memory>

#include "KELOAccess.h"
#include "Measure.h"
#include "devservice/DevService.h"

namespace kelo::bench {
namespace {

using devservice::ClientRequest;
using devservice::Reply;

const int kAlbums = Sized(1000, 10);
const int kLinks = Sized(10000, 10);
const int kRecipients = Sized(200, 20);
constexpr int kEveryBad = 10;  // each tenth recipient is bad

std::string Address(int i) {
  return (i % kEveryBad == 0 ? "bad" : "user") + std::to_string(i) + "@example.org";
}

// Answers like a service with a new id for every album, and rejects one bad recipient at a time.
std::optional<Reply> Answer(const ClientRequest& request) {
  Reply reply;
  reply.body = "<r stat=\"ok\" albumId=\"" + request.query.substr(0, 27) + "\" />";
  const size_t bad =
      request.method == "VerifyRecipients" ? request.body.find("bad") : std::string::npos;
  if (bad != std::string::npos) {
    const std::string address =
        request.body.substr(bad, request.body.find_first_of(";\"", bad) - bad);
    reply.body =
        "<r stat=\"fail\" errcode=\"313\" errmsg=\"Invalid recipient: " + address + "\" />";
  }
  return reply;
}

size_t Ignore(char*, size_t size, size_t count, void*) {
  return size * count;
}

// A session with a scripted service, and the bare handle.
class World {
 public:
  World() : easy_(curl_easy_init(), &curl_easy_cleanup) {
    service_.SetScript(&Answer);
    KELOAccessInitialize(0);
    tagKELO_SessionInfo session{};
    ManageUrl().copy(session.manageUrl, sizeof session.manageUrl - 1);
    session.token[0] = 'T';
    Send(kKELOCommand_SetSessionInfo, &session, 1);
  }
  World(const World&) = delete;
  World& operator=(const World&) = delete;
  ~World() { KELOAccessClose(); }

  uint32_t Send(uint32_t code, void* data, uint32_t count, const char* target = "") {
    tagCommandControlInfo record{};
    std::string_view(target).copy(record.targetId, sizeof record.targetId - 1);
    record.entryCount = count;
    record.data = data;
    return KELOAccessCommand(code, &record);
  }
  // One request as the library makes it, less the signing.
  void BarePut(benchmark::State& state, const std::string& document) {
    const std::string url = ManageUrl() +
                            "?keloSessToken=T&callId=123456789012&keloApiSig="
                            "da39a3ee5e6b4b0d3255bfef95601890afd80709";
    curl_easy_setopt(easy_.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy_.get(), CURLOPT_CUSTOMREQUEST, "PUT");
    curl_easy_setopt(easy_.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(document.size()));
    curl_easy_setopt(easy_.get(), CURLOPT_POSTFIELDS, document.c_str());
    curl_easy_setopt(easy_.get(), CURLOPT_WRITEFUNCTION, &Ignore);
    curl_easy_setopt(easy_.get(), CURLOPT_ACCEPT_ENCODING, "");
    curl_easy_setopt(easy_.get(), CURLOPT_FAILONERROR, 1L);
    if (curl_easy_perform(easy_.get()) != CURLE_OK) state.SkipWithError("the yardstick failed");
  }
  devservice::Service& service() { return service_; }

 private:
  // The path "/" is the service's own page.
  std::string ManageUrl() const { return service_.Url() + "/manage"; }

  devservice::Service service_;
  std::unique_ptr<CURL, void (*)(CURL*)> easy_;
};

std::string Document(const std::string& element) {
  return "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\r\n"
         "<?protocol version=\"KELO-API/XML-R/1.0\"?>\r\n<" +
         element + " />\r\n";
}

void Organise(benchmark::State& state) {
  World world;
  std::vector<tagKELO_ItemInfo> albums(kAlbums);
  std::vector<tagKELO_AddLinkInfo> links(kLinks);
  for (auto& link : links)
    std::string_view("ITEM45678901234567890123456").copy(link.itemIdList, 27);
  const auto ours = [&] {
    for (auto& album : albums) {
      album = {};
      album.kind = kKELOKind_Album;
      std::string_view("An album").copy(album.name, sizeof album.name);
    }
    if (world.Send(kKELOCommand_AddItems, albums.data(), kAlbums) != 0 ||
        world.Send(kKELOCommand_AddNewLink, links.data(), kLinks, "ALBUM5678901234567890123456") !=
            0)
      state.SkipWithError("a command failed");
  };
  const std::string add = Document("AddAlbum folderId=\"\" albumName=\"An album\"");
  const std::string link = Document(
      "AddItemsToAlbum albumId=\"ALBUM5678901234567890123456\" "
      "itemIdList=\"ITEM45678901234567890123456\"");
  const auto bare = [&] {
    for (int i = 0; i < kAlbums; ++i) world.BarePut(state, add);
    for (int i = 0; i < kLinks; ++i) world.BarePut(state, link);
  };
  Compare(state, 1.3, ours, bare);
}
BENCHMARK(Organise)->UseManualTime()->Iterations(Sized(5, 1))->Unit(benchmark::kMillisecond);

void VerifyRecipients(benchmark::State& state) {
  World world;
  std::string list;
  for (int i = 0; i < kRecipients; ++i) list += (i == 0 ? "" : ";") + Address(i);
  const auto ours = [&] {
    tagKELO_RecipientInfo record{};
    record.recipients = {list.data(), static_cast<uint32_t>(list.size())};
    if (world.Send(kKELOCommand_VerifyRecipient, &record, 1) != kKELOResult_RecipientsRejected)
      state.SkipWithError("the command failed");
  };
  world.service().ClearArrived();
  ours();
  state.counters["requests"] = static_cast<double>(world.service().RequestCount());
  std::vector<std::string> documents;
  for (const ClientRequest& request : world.service().Arrived()) documents.push_back(request.body);
  const auto bare = [&] {
    for (const std::string& document : documents) world.BarePut(state, document);
  };
  bare();
  const int rounds = Sized(20, 1);
  Compare(state, 1.3, InRow(rounds, ours), InRow(rounds, bare));
}
BENCHMARK(VerifyRecipients)
    ->UseManualTime()
    ->Iterations(Sized(11, 1))
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
