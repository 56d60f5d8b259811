// Storing 20,000 small pictures, and finding all of them stored: the whole program beside bare
// libcurl that sends the same requests, put together beforehand, to a service of its own. Beside
// that, the time that any client takes for the pictures themselves, with the usual libraries: it
// looks for them, asks each for its date, and reads what it sends.
#include <curl/curl.h>

#include <exiv2/exiv2.hpp>
#include <memory>

#include "devservice/protocol/Digest.h"
#include "host/Kelo.h"

namespace kelo::bench {
namespace {

const int kFiles = Sized(20000, 50);
constexpr int kSizes = 4999;  // so many bytes at most follow a picture, to make sizes differ

using devservice::ClientRequest;

size_t Keep(char* data, size_t size, size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

// The part of a request that is signed: its body, or the first part of that.
std::string Document(const ClientRequest& request) {
  if (request.verb == "PUT") return request.body;
  const std::size_t begin = request.body.find("\r\n\r\n") + 4;
  return request.body.substr(begin, request.body.find("\r\n--BOUNDARY", begin) - begin);
}

// Sends what another client has sent, with a session of its own.
class Replay {
 public:
  explicit Replay(const devservice::Service& service)
      : service_(service), easy_(curl_easy_init(), &curl_easy_cleanup) {
    curl_easy_setopt(easy_.get(), CURLOPT_WRITEFUNCTION, &Keep);
    curl_easy_setopt(easy_.get(), CURLOPT_WRITEDATA, &answer_);
    const std::string query = "method=OpenSession&callId=1&keloApiKey=" + service.ApiKey() +
                              "&keloAuthToken=" + service.AuthToken();
    const std::string url = service.Url() + "/P2PwebCmdController/api-auth?" + query +
                            "&keloApiSig=" + devservice::Sha1Hex(service.Secret() + "?" + query);
    curl_easy_setopt(easy_.get(), CURLOPT_URL, url.c_str());
    curl_easy_perform(easy_.get());
    const std::string name = "keloSessToken=\"";
    const std::size_t begin = answer_.find(name) + name.size();
    token_ = answer_.substr(begin, answer_.find('"', begin) - begin);
  }

  void Prepare(std::vector<ClientRequest> requests) {
    requests_ = std::move(requests);
    urls_.clear();
    for (const ClientRequest& request : requests_) {
      const std::string query = "keloSessToken=" + token_ + "&callId=" + std::to_string(++callId_);
      urls_.push_back(
          service_.Url() + request.path + "?" + query + "&keloApiSig=" +
          devservice::Sha1Hex(service_.Secret() + "?" + query + "\r\n" + Document(request)));
    }
  }

  bool Send() {
    bool ok = !requests_.empty();
    for (std::size_t at = 0; at < requests_.size(); ++at) ok = SendOne(at) && ok;
    return ok;
  }

 private:
  bool SendOne(std::size_t at) {
    const ClientRequest& request = requests_[at];
    CURL* easy = easy_.get();
    const std::string type = "Content-Type: " + request.Header("Content-Type");
    const std::unique_ptr<curl_slist, void (*)(curl_slist*)> headers(
        curl_slist_append(curl_slist_append(nullptr, "Expect:"), type.c_str()),
        &curl_slist_free_all);
    answer_.clear();
    curl_easy_setopt(easy, CURLOPT_URL, urls_[at].c_str());
    curl_easy_setopt(easy, CURLOPT_CUSTOMREQUEST, request.verb.c_str());
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request.body.size()));
    curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers.get());
    return curl_easy_perform(easy) == CURLE_OK && answer_.find("stat=\"ok\"") != std::string::npos;
  }

  const devservice::Service& service_;
  std::unique_ptr<CURL, void (*)(CURL*)> easy_;
  std::string token_;
  std::string answer_;
  std::vector<ClientRequest> requests_;
  std::vector<std::string> urls_;
  int callId_ = 1;
};

// What the requests are made from. Gives the bytes that it has seen.
std::uint64_t ReadPictures(const std::string& folder, bool whole) {
  std::uint64_t seen = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    seen += entry.file_size();
    benchmark::DoNotOptimize(entry.last_write_time());
    const auto picture = Exiv2::ImageFactory::open(entry.path().string());
    picture->readMetadata();
    benchmark::DoNotOptimize(picture->exifData()["Exif.Photo.DateTimeOriginal"].count());
    if (!whole) continue;
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string bytes(std::istreambuf_iterator<char>(file), {});
    benchmark::DoNotOptimize(bytes.data());
  }
  return seen;
}

// One put by both, each to its service. Seconds; negative when it failed.
struct Times {
  double ours = -1;
  double bare = -1;
  double pictures = -1;
};

class Pair {
 public:
  Pair() : kelo_(ours_), replay_(bare_) {}

  Times Put(const std::string& folder, bool sends) {
    ours_.ClearArrived();
    Times times;
    bool ok = true;
    times.ours = Seconds(kWallTime, [&] { ok = kelo_.Run({"put", folder}) >= 0; });
    replay_.Prepare(ours_.Arrived());
    times.bare = Seconds(
        kWallTime, [&] { ok = replay_.Send() && ok; });
    times.pictures = Seconds(kWallTime, [&] { ok = ReadPictures(folder, sends) > 0 && ok; });
    return ok ? times : Times{};
  }

 private:
  devservice::Service ours_;
  devservice::Service bare_;
  Kelo kelo_;
  Replay replay_;
};

void Put20000Files(benchmark::State& state) {
  const bool second = state.range(0) == 1;
  // In memory: a disk's file system takes longer to find room for so many new files, of which as
  // many have just gone, than both clients take together.
  if (std::filesystem::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 0);
  const Scratch folder;
  for (int i = 0; i < kFiles; ++i) {
    const std::string picture = folder / (std::to_string(i) + ".jpg");
    std::filesystem::copy_file(KELO_SAMPLE, picture);
    std::filesystem::resize_file(
        picture, std::filesystem::file_size(picture) + static_cast<unsigned>(i * 7919 % kSizes));
  }
  std::vector<double> ours;
  std::vector<double> bare;
  std::vector<double> pictures;
  for (auto _ : state) {
    Pair pair;
    Times times = pair.Put(folder / "", true);
    if (second && times.ours >= 0) times = pair.Put(folder / "", false);
    if (times.ours < 0) return state.SkipWithError("a put failed");
    ours.push_back(times.ours);
    bare.push_back(times.bare);
    pictures.push_back(times.pictures);
    state.SetIterationTime(times.ours);
  }
  TellRatio(state, ours, bare, 1.3);
  state.counters["pictures_ms"] = MiddleOf(pictures) * 1000;
  TellBounded(state, "ratio_with_pictures", MiddleOf(ours) / (MiddleOf(bare) + MiddleOf(pictures)),
              1.3);
}
BENCHMARK(Put20000Files)
    ->ArgName("second")
    ->Arg(0)
    ->Arg(1)
    ->UseManualTime()
    ->Iterations(Sized(3, 1))
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
