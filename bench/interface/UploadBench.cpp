// The upload command beside bare libcurl posting the very same bytes to the same service, which
// checks and stores them. As the command has to, the yardstick reads many files into one buffer,
// and copies a large body to a file of its own.
#include <curl/curl.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "KELOAccess.h"
#include "Measure.h"
#include "devservice/DevService.h"
#include "devservice/protocol/Digest.h"

namespace kelo::bench {
namespace {

size_t Keep(char* data, size_t size, size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

size_t FromFile(char* buffer, size_t size, size_t count, void* file) {
  return std::fread(buffer, size, count, static_cast<std::FILE*>(file));
}

// The account, an open session, and files to send.
class Uploads {
 public:
  Uploads(uint32_t fileCount, size_t fileSize) : service_(ServiceOptions()) {
    const std::string urls = scratch_ / "urls";
    std::ofstream(urls) << "kKELO_URLofKELOServer=\"" << service_.Url() << "\"";
    setenv("KELO_URLS_FILE", urls.c_str(), 1);
    KELOAccessInitialize(0);
    tagKELO_OpenSessionInfo opening{};
    tagCommandControlInfo record{};
    service_.ApiKey().copy(record.apiKey, sizeof record.apiKey - 1);
    service_.AuthToken().copy(record.authToken, sizeof record.authToken - 1);
    service_.Secret().copy(record.signingSecret, sizeof record.signingSecret - 1);
    record.data = &opening;
    KELOAccessCommand(kKELOCommand_OpenSession, &record);
    record.data = &session_;
    KELOAccessCommand(kKELOCommand_GetSessionInfo, &record);
    for (uint32_t i = 0; i < fileCount; ++i)
      paths_.push_back(scratch_.File("picture" + std::to_string(i) + ".jpg", fileSize));
    for (std::string& path : paths_) {
      tagKELO_LoadInfo& file = files_.emplace_back();
      file.filePath = {path.data(), static_cast<uint32_t>(path.size())};
      file.fileSize = static_cast<int32_t>(fileSize);
      std::strcpy(file.fileModifyDate, "2008-05-17T10:11:12Z");
      std::strcpy(file.fileCreateDate, "2008-05-17T10:11:12Z");
    }
    WriteBody();
  }
  Uploads(const Uploads&) = delete;
  Uploads& operator=(const Uploads&) = delete;
  ~Uploads() { KELOAccessClose(); }

  void UploadByCommand(benchmark::State& state) {
    tagCommandControlInfo record{};
    record.data = files_.data();
    record.entryCount = static_cast<uint32_t>(files_.size());
    if (KELOAccessCommand(kKELOCommand_Upload, &record) != 0 || files_.back().itemId[0] == '\0')
      state.SkipWithError("the upload failed");
  }

  void PostFromMemory(benchmark::State& state) {
    const auto body = std::make_unique_for_overwrite<char[]>(bodySize_);
    char* end = std::copy(head_.begin(), head_.end(), body.get());
    for (size_t i = 0; i < files_.size(); ++i) {
      const std::string head = PartHead(i);
      end = std::copy(head.begin(), head.end(), end);
      const File file(std::fopen(paths_[i].c_str(), "rb"), &std::fclose);
      end += std::fread(end, 1, static_cast<size_t>(files_[i].fileSize), file.get());
    }
    std::copy(kEnd.begin(), kEnd.end(), end);
    const Easy easy(curl_easy_init(), &curl_easy_cleanup);
    curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDS, body.get());
    Post(easy.get(), state);
  }

  void PostFromFile(benchmark::State& state) {
    const Scratch spool("/tmp");
    const std::string copy = spool / "copy";
    std::filesystem::copy_file(scratch_ / "body", copy);
    const Easy easy(curl_easy_init(), &curl_easy_cleanup);
    const File body(std::fopen(copy.c_str(), "rb"), &std::fclose);
    curl_easy_setopt(easy.get(), CURLOPT_READFUNCTION, &FromFile);
    curl_easy_setopt(easy.get(), CURLOPT_READDATA, body.get());
    Post(easy.get(), state);
  }

  uint64_t BodySize() const { return bodySize_; }

 private:
  using Easy = std::unique_ptr<CURL, void (*)(CURL*)>;
  using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
  static constexpr std::string_view kEnd = "\r\n--BOUNDARY--\r\n";

  static devservice::Service::Options ServiceOptions() {
    devservice::Service::Options options;
    options.quotaBytes = uint64_t{1} << 42;
    return options;
  }

  // The bytes that the command sends, put together once.
  void WriteBody() {
    document_ =
        "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\r\n"
        "<?protocol version=\"KELO-API/XML-R/1.0\"?>\r\n<UploadItems>\r\n<items>\r\n";
    for (size_t i = 0; i < files_.size(); ++i) {
      document_ += "<item idx=\"" + std::to_string(i + 1) + "\" fileName=\"" + Name(i) +
                   "\" size=\"" + std::to_string(files_[i].fileSize) +
                   "\" fileCreateDate=\"2008-05-17T10:11:12Z\""
                   " fileModifyDate=\"2008-05-17T10:11:12Z\" />\r\n";
    }
    document_ += "</items>\r\n</UploadItems>\r\n";
    head_ =
        "--BOUNDARY\r\nContent-Disposition: form-data; name=\"XML\"\r\n"
        "Content-Type: text/plain; charset=UTF-8\r\nContent-Transfer-Encoding: 8bit\r\n\r\n" +
        document_;
    std::ofstream body(scratch_ / "body", std::ios::binary);
    body << head_;
    for (size_t i = 0; i < files_.size(); ++i)
      body << PartHead(i) << std::ifstream(paths_[i], std::ios::binary).rdbuf();
    body << kEnd;
    bodySize_ = static_cast<uint64_t>(body.tellp());
  }
  std::string PartHead(size_t i) const {
    return "\r\n--BOUNDARY\r\nContent-Disposition: form-data; name=\"" + Name(i) +
           "\"\r\nContent-Type: application/octet-stream\r\n"
           "Content-Transfer-Encoding: binary\r\n\r\n";
  }
  std::string Name(size_t i) const { return paths_[i].substr(paths_[i].rfind('/') + 1); }

  void Post(CURL* easy, benchmark::State& state) {
    const std::string query =
        "keloSessToken=" + std::string(session_.token) + "&callId=" + std::to_string(++callId_);
    const std::string url =
        std::string(session_.uploadUrl) + "?" + query +
        "&keloApiSig=" + devservice::Sha1Hex(service_.Secret() + "?" + query + "\r\n" + document_);
    const std::unique_ptr<curl_slist, void (*)(curl_slist*)> headers(
        curl_slist_append(curl_slist_append(nullptr, "Expect:"),
                          "Content-Type: multipart/form-data; boundary=BOUNDARY"),
        &curl_slist_free_all);
    std::string answer;
    curl_easy_setopt(easy, CURLOPT_URL, url.c_str());
    curl_easy_setopt(easy, CURLOPT_POST, 1L);
    curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(bodySize_));
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers.get());
    curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &Keep);
    curl_easy_setopt(easy, CURLOPT_WRITEDATA, &answer);
    if (curl_easy_perform(easy) != CURLE_OK || answer.find("stat=\"ok\"") == std::string::npos)
      state.SkipWithError("the yardstick failed");
  }

  Scratch scratch_;
  devservice::Service service_;
  tagKELO_SessionInfo session_{};
  std::vector<std::string> paths_;
  std::vector<tagKELO_LoadInfo> files_;
  std::string document_;
  std::string head_;  // of the body, up to the first file
  uint64_t bodySize_ = 0;
  int callId_ = 0;
};

void Upload1000Files(benchmark::State& state) {
  KeepInMemory();
  Uploads uploads(Sized(1000u, 10u), 65536);
  uploads.UploadByCommand(state);  // what is loaded at first use does not count
  const double growth = ResidentGrowthMiB([&] { uploads.UploadByCommand(state); });
  Compare(
      state, 1.3, [&] { uploads.UploadByCommand(state); }, [&] { uploads.PostFromMemory(state); });
  TellBounded(state, "rss_growth_over_body_MiB",
              growth - static_cast<double>(uploads.BodySize()) / (1 << 20), 8);
}
BENCHMARK(Upload1000Files)->UseManualTime()->Iterations(Sized(5, 1))->Unit(benchmark::kMillisecond);

void Upload512MiB(benchmark::State& state) {
  Uploads uploads(1, Sized(size_t{512} << 20, size_t{1} << 20));
  uploads.UploadByCommand(state);
  const double growth = ResidentGrowthMiB([&] { uploads.UploadByCommand(state); });
  Compare(
      state, 1.3, [&] { uploads.UploadByCommand(state); }, [&] { uploads.PostFromFile(state); });
  TellBounded(state, "rss_growth_MiB", growth, 8);
}
BENCHMARK(Upload512MiB)->UseManualTime()->Iterations(Sized(3, 1))->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace kelo::bench
