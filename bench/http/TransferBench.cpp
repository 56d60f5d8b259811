// The transport beside a bare libcurl handle that does the same against the same peer.
#include <curl/curl.h>

#include <cstdio>
#include <memory>

#include "Measure.h"
#include "http/HTTPConnection.h"
#include "http/SinkServer.h"

namespace kelo::bench {
namespace {

const std::size_t kMiB = Sized(1 << 20, 1 << 10);
const int kPutsInARow = Sized(300, 3);

struct FreeCurl {
  void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  void operator()(std::FILE* file) const { std::fclose(file); }
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};
using Easy = std::unique_ptr<CURL, FreeCurl>;
using File = std::unique_ptr<std::FILE, FreeCurl>;
using List = std::unique_ptr<curl_slist, FreeCurl>;

std::size_t Keep(char* data, std::size_t size, std::size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

struct Text {
  const char* next;
  std::size_t left;
};

std::size_t Supply(char* buffer, std::size_t size, std::size_t count, void* source) {
  auto* text = static_cast<Text*>(source);
  const std::size_t step = std::min(size * count, text->left);
  std::copy_n(text->next, step, buffer);
  text->next += step;
  text->left -= step;
  return step;
}

void Perform(CURL* easy, benchmark::State& state) {
  if (curl_easy_perform(easy) != CURLE_OK) state.SkipWithError("the yardstick failed");
}

void Check(TransportCode code, benchmark::State& state) {
  if (code == TransportCode::Success) return;
  const std::string number = std::to_string(static_cast<std::uint32_t>(code));
  state.SkipWithError(("transport code " + number).c_str());
}

void SmallPut(benchmark::State& state) {
  SinkServer server;
  HTTPConnection connection;
  const std::string body(600, 'b');
  const std::string url = server.Url("/put");
  const Easy easy(curl_easy_init());
  const List noExpect(curl_slist_append(nullptr, "Expect:"));
  std::string answer;
  std::string response;
  const auto bare = [&] {
    Text text{body.data(), body.size()};
    answer.clear();
    curl_easy_setopt(easy.get(), CURLOPT_URL, (url + "?q=1").c_str());
    curl_easy_setopt(easy.get(), CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(easy.get(), CURLOPT_INFILESIZE_LARGE, static_cast<curl_off_t>(body.size()));
    curl_easy_setopt(easy.get(), CURLOPT_READFUNCTION, &Supply);
    curl_easy_setopt(easy.get(), CURLOPT_READDATA, &text);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, &Keep);
    curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &answer);
    curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, noExpect.get());
    curl_easy_setopt(easy.get(), CURLOPT_ACCEPT_ENCODING, "");
    Perform(easy.get(), state);
  };
  const auto ours = [&] {
    Check(connection.HTTPRequestPUT({.url = url, .query = "q=1", .body = body}, response), state);
  };
  // In rows: alternating single requests would measure how the scheduler places the peers.
  InRow(kPutsInARow, bare)();
  InRow(kPutsInARow, ours)();
  Compare(state, 1.3, InRow(kPutsInARow, ours), InRow(kPutsInARow, bare));
}
BENCHMARK(SmallPut)->UseManualTime()->Iterations(Sized(21, 1))->Unit(benchmark::kMillisecond);

void Download256MiB(benchmark::State& state) {
  SinkServer server(256 * kMiB);
  HTTPConnection connection;
  const Scratch scratch;
  const std::string url = server.Url("/file");
  const std::string mine = scratch / "mine";
  const std::string theirs = scratch / "theirs";
  const Easy easy(curl_easy_init());
  const auto bare = [&] {
    std::filesystem::remove(theirs);
    const File file(std::fopen(theirs.c_str(), "wb"));
    curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, file.get());
    Perform(easy.get(), state);
  };
  const auto ours = [&] {
    std::filesystem::remove(mine);
    std::uint32_t size = 0;
    Check(connection.HTTPFileDownload({.url = url, .destPath = mine}, size), state);
    if (size != 256 * kMiB) state.SkipWithError("size");
  };
  bare();
  const double growth = ResidentGrowthMiB(ours);
  Compare(state, 1.3, ours, bare);
  TellBounded(state, "rss_growth_MiB", growth, 4);
}
BENCHMARK(Download256MiB)->UseManualTime()->Iterations(Sized(7, 1))->Unit(benchmark::kMillisecond);

std::vector<tagHTTPConnection_MultipartBody> Parts(const Scratch& scratch, std::size_t count,
                                                   std::size_t size) {
  std::vector<tagHTTPConnection_MultipartBody> parts;
  for (std::size_t i = 0; i < count; ++i) {
    parts.push_back({"\r\n--BOUNDARY\r\n\r\n", scratch.File(std::to_string(i), size),
                     static_cast<std::uint32_t>(size)});
  }
  parts.push_back({"\r\n--BOUNDARY--\r\n", "", 0});
  return parts;
}

// Posts bytes, or a file, the way libcurl is used by itself.
void BarePost(const std::string& url, const char* bytes, std::FILE* file, std::size_t size,
              benchmark::State& state) {
  const Easy easy(curl_easy_init());
  const List noExpect(curl_slist_append(nullptr, "Expect:"));
  std::string answer;
  curl_easy_setopt(easy.get(), CURLOPT_URL, url.c_str());
  curl_easy_setopt(easy.get(), CURLOPT_POST, 1L);
  curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(size));
  if (bytes != nullptr) curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, bytes);
  if (file != nullptr) curl_easy_setopt(easy.get(), CURLOPT_READDATA, file);
  curl_easy_setopt(easy.get(), CURLOPT_HTTPHEADER, noExpect.get());
  curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, &Keep);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &answer);
  Perform(easy.get(), state);
}

// Beside reading the same files into one buffer and posting that.
void UploadThousandFiles(benchmark::State& state) {
  const std::size_t kCount = Sized(1000, 10);
  constexpr std::size_t kSize = 65536;
  SinkServer server;
  HTTPConnection connection;
  const Scratch scratch;
  const std::string url = server.Url("/upload");
  const auto parts = Parts(scratch, kCount, kSize);
  std::string response;
  const auto ours = [&] {
    Check(connection.HTTPRequestFileUpload({.url = url, .query = "q", .parts = parts}, response),
          state);
  };
  const double growth = ResidentGrowthMiB(ours);
  const auto bare = [&] {
    const auto bytes = std::make_unique_for_overwrite<char[]>(kCount * kSize);
    for (std::size_t i = 0; i < kCount; ++i) {
      const File file(std::fopen(parts[i].filePath.c_str(), "rb"));
      if (std::fread(bytes.get() + i * kSize, 1, kSize, file.get()) != kSize)
        state.SkipWithError("the yardstick failed");
    }
    BarePost(url, bytes.get(), nullptr, kCount * kSize, state);
  };
  Compare(state, 1.3, ours, bare);
  TellBounded(state, "rss_growth_over_body_MiB",
              growth - static_cast<double>(kCount * kSize) / (1 << 20), 4);
}
BENCHMARK(UploadThousandFiles)
    ->UseManualTime()
    ->Iterations(Sized(15, 1))
    ->Unit(benchmark::kMillisecond);

// Beside posting a copy of the file that is made first, as the spool is one.
void Upload512MiB(benchmark::State& state) {
  const std::size_t kSize = 512 * kMiB;
  SinkServer server;
  HTTPConnection connection;
  const Scratch scratch;
  const std::string url = server.Url("/upload");
  const auto parts = Parts(scratch, 1, kSize);
  std::string response;
  const auto ours = [&] {
    Check(connection.HTTPRequestFileUpload({.url = url, .query = "q", .parts = parts}, response),
          state);
  };
  const auto bare = [&] {
    const Scratch spool("/tmp");
    const std::string copy = spool / "copy";
    std::filesystem::copy_file(parts[0].filePath, copy);
    const File file(std::fopen(copy.c_str(), "rb"));
    BarePost(url, nullptr, file.get(), kSize, state);
  };
  bare();
  const double growth = ResidentGrowthMiB(ours);
  Compare(state, 1.3, ours, bare);
  TellBounded(state, "rss_growth_MiB", growth, 4);
}
BENCHMARK(Upload512MiB)->UseManualTime()->Iterations(Sized(5, 1))->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
