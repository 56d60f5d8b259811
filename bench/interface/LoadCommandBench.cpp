// The load command over loopback, beside bare libcurl with a general XML parser and a hash map of
// plain records: the same requests to the same service, and none of the library.
#include <curl/curl.h>

#include <memory>

#include "KELOAccess.h"
#include "Measure.h"
#include "catalogue/PlainAccount.h"
#include "catalogue/SampleAccount.h"
#include "devservice/DevService.h"

namespace kelo::bench {
namespace {

const size_t kItems = Sized(100000, 1000);

size_t Append(char* data, size_t size, size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

class LoadWorld {
 public:
  explicit LoadWorld(size_t albums) : easy_(curl_easy_init(), &curl_easy_cleanup) {
    const auto answer = std::make_shared<std::string>(SampleHierarchyAnswer({kItems, albums}));
    service_.SetScript([answer](const devservice::ClientRequest& request) {
      devservice::Reply reply;
      reply.body =
          "<r stat=\"ok\" totalCount=\"" + std::to_string(kItems) + "\"><albums></albums></r>";
      if (request.method == "GetHierarchy") reply.body = *answer;
      return reply;
    });
    KELOAccessInitialize(0);
    tagKELO_SessionInfo session{};
    ManageUrl().copy(session.manageUrl, sizeof session.manageUrl - 1);
    session.token[0] = 'T';
    Send(kKELOCommand_SetSessionInfo, &session, "", 0);
  }
  LoadWorld(const LoadWorld&) = delete;
  LoadWorld& operator=(const LoadWorld&) = delete;
  ~LoadWorld() { KELOAccessClose(); }

  void Load() { Send(kKELOCommand_LoadHierarchy, nullptr, "", 0); }
  bool IsLoaded() {
    uint32_t count = 0;
    const std::string everything(27, '\xff');
    return Send(kKELOCommand_GetItemsCount, &count, everything, kKELOKind_FileItem) == 0 &&
           count == kItems;
  }

  void PlainLoad(PlainAccount& account) {
    Put("GetUserArchiveInfo");
    account.Load(Put("GetHierarchy"));
    Put("GetForeignAlbumItems");
  }

 private:
  // The path "/" is the service's own page.
  std::string ManageUrl() const { return service_.Url() + "/manage"; }
  uint32_t Send(uint32_t code, void* data, std::string_view target, uint32_t kinds) {
    tagCommandControlInfo record{};
    target.copy(record.targetId, sizeof record.targetId - 1);
    record.entryCount = 1;
    record.data = data;
    record.selectionFlags = kinds;
    return KELOAccessCommand(code, &record);
  }
  std::string Put(const std::string& method) {
    const std::string url = ManageUrl() + "?keloSessToken=T";
    const std::string document =
        "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\r\n"
        "<?protocol version=\"KELO-API/XML-R/1.0\"?>\r\n<" +
        method + " />\r\n";
    std::string answer;
    curl_easy_setopt(easy_.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy_.get(), CURLOPT_CUSTOMREQUEST, "PUT");
    curl_easy_setopt(easy_.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(document.size()));
    curl_easy_setopt(easy_.get(), CURLOPT_POSTFIELDS, document.c_str());
    curl_easy_setopt(easy_.get(), CURLOPT_WRITEFUNCTION, &Append);
    curl_easy_setopt(easy_.get(), CURLOPT_WRITEDATA, &answer);
    curl_easy_perform(easy_.get());
    return answer;
  }

  devservice::Service service_;
  std::unique_ptr<CURL, void (*)(CURL*)> easy_;
};

// Argument: albums. The two take turns. Ours replaces the former catalogue, as every load but the
// first one does; the yardstick's former records go outside of its time.
void LoadAccount(benchmark::State& state) {
  LoadWorld world(static_cast<size_t>(state.range(0)));
  std::vector<double> ours;
  std::vector<double> plain;
  for (auto _ : state) {
    PlainAccount account;
    plain.push_back(Seconds(
        kWallTime, [&] { world.PlainLoad(account); }));
    ours.push_back(Seconds(kWallTime, [&] { world.Load(); }));
    if (account.ItemCount() != kItems || !world.IsLoaded()) state.SkipWithError("not loaded");
    state.SetIterationTime(ours.back());
  }
  TellRatio(state, ours, plain, 0.5);
}
BENCHMARK(LoadAccount)
    ->ArgName("albums")
    ->Arg(Sized(1000, 10))
    ->Arg(Sized(10000, 100))
    ->UseManualTime()
    ->Iterations(Sized(9, 1))
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
