// The second half of the demonstration: edits, downloads and shares, aborts a download, and closes
// the session.
#include <fmt/format.h>

#include <future>
#include <map>

#include "devservice/DevService.h"
#include "host/demo/DemoStory.h"
#include "host/download/Fetch.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"
#include "host/terminal/Progress.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;
using Addresses = std::vector<std::string>;

// "/a/b" of "http://host/a/b?c".
std::string PathOf(const std::string& url) {
  const size_t host = url.find("://");
  const size_t path = host == std::string::npos ? host : url.find('/', host + 3);
  return path == std::string::npos ? "/" : url.substr(path, url.find('?', path) - path);
}

constexpr const char* kFriend = "anna@talvo.example";
constexpr const char* kBadAddress = "not-an-address";

}  // namespace

void DemoStory::Edit() {
  Title("Caption, rating, tags (25, 50)");
  const std::string& id = uploaded_[0].itemId;
  library_.Modify(
      id, {.caption = "Morning light <before breakfast>", .captionFlag = true, .rating = 5});
  library_.AddTags(id, "favourite, morning");
  library_.AddTags(albumId_, "demonstration");
  Prove(Arrived("ModifyProps") == 1 && Arrived("AddTags") == 2,
        "one item captioned, rated and tagged, the album tagged");
}

void DemoStory::LinkIntoAlbum() {
  Title("Link a picture into a second album (19)");
  const std::string best = AddContainer("", Kind::Album, "Best of");
  const AddedLink link = library_.AddLinks(best, {uploaded_[0].itemId}).front();
  if (link.error) throw Error(*link.error);
  library_.Load();
  const auto items = library_.List(best, Kind::FileItem);
  Prove(items.size() == 1 && items[0].id == uploaded_[0].itemId, "the album shows it");
}

size_t DemoStory::DownloadAndCompare(const std::vector<Item>& items, const std::string& folder,
                                     const std::vector<fs::path>& originals) {
  const fs::path to = folder_.Path() / folder;
  fs::create_directory(to);
  const auto files = Fetch(library_, items, to);
  for (size_t at = 0; at < files.size(); ++at) {
    if (files[at].code != 0)
      throw Error("download " + files[at].file.path.filename().string(), files[at].code,
                  kKELOCommand_Download);
    Prove(SameContent(files[at].file.path, originals[at]),
          fmt::format("{}: {} bytes, the same", Shown(files[at].file.path.filename().string()),
                      fs::file_size(files[at].file.path)));
  }
  return files.size();
}

void DemoStory::DownloadEverything() {
  Title("Download every original, and compare each byte (51)");
  std::map<std::string, fs::path> sources;
  for (const File& file : uploaded_) sources[file.itemId] = file.path;
  const auto items = library_.List(albumId_, Kind::FileItem);
  std::vector<fs::path> originals;
  for (const auto& item : items) originals.push_back(sources[std::string(item.id)]);
  DownloadAndCompare(items, "mine", originals);

  const auto albums = library_.List(kEverything, Kind::FriendAlbum);
  Prove(albums.size() == 1,
        fmt::format("a friend's album is there: \"{}\"", Shown(albums.at(0).name)));
  const auto theirs = library_.List(albums[0].id, Kind::FileItem);
  std::map<std::string, fs::path> byName;
  for (const auto& entry : fs::directory_iterator(friendAlbum_))
    byName[entry.path().filename().string()] = entry.path();
  originals.clear();
  for (const auto& item : theirs) originals.push_back(byName[Composed(item.name)]);
  Prove(DownloadAndCompare(theirs, "theirs", originals) == byName.size(),
        "the friend's album is complete");
}

void DemoStory::ThereAndBackAgain() {
  Title("Get them again, and put the folder that they are in (51, 20)");
  std::map<std::string, std::string> names;  // of the files, by the items' ids
  for (const File& file : uploaded_) names[file.itemId] = file.Name();
  size_t here = 0;
  std::vector<std::string> paths;
  const size_t requests = service_->RequestCount();
  Workers alone(library_, DoDownloadTask, {});
  FetchPlan(library_, alone,
            PlanDownload(library_, {.entries = {library_.Info(albumId_)}}, folder_.Path() / "mine"),
            {}, [&](const FetchedFile& fetched) {
              here += fetched.outcome == FetchOutcome::kHere ? 1 : 0;
              // One whose name was cut came under another.
              if (WithoutNumber(fetched.file.path.filename().string()) ==
                  WithoutNumber(names[fetched.file.itemId]))
                paths.push_back(fetched.file.path.string());
            });
  Prove(here == uploaded_.size() && service_->RequestCount() == requests,
        fmt::format("{} here already, nothing downloaded", CountText(here, "file")));
  UploadOnceMore(paths);
  library_.Load();  // what an upload adds to it has no URLs yet
}

void DemoStory::ShowStorage() {
  Title("Ask for the storage (24)");
  std::uint64_t sent = 0;
  for (const File& file : uploaded_) sent += file.size;
  const auto [used, all] = library_.Capacity();
  Prove(used >= sent && used <= all, fmt::format("{} of {} used", ByteText(used), ByteText(all)));
}

void DemoStory::Recipients() {
  Title("Address list and verification (22, 21)");
  const std::string contacts = Shown(fmt::format("{}", fmt::join(library_.AddressList(), ";")));
  out_.Line(fmt::format("  address list: {}", contacts.empty() ? "(empty)" : contacts));
  const kelo::Recipients lists = library_.VerifyRecipients({kFriend, kBadAddress});
  Prove(lists.accepted == Addresses{kFriend} && lists.rejected == Addresses{kBadAddress},
        fmt::format("\"{}\" accepted, \"{}\" rejected", kFriend, kBadAddress));
}

void DemoStory::SendMail() {
  Title("Share the album by picture mail, without positions (23)");
  const Mail mail{.recipients = {kFriend, kBadAddress},
                  .subject = "Pictures & greetings",
                  .text = "Hello Anna,\nlook at these!",
                  .removeGps = true,
                  .verify = true};
  const kelo::Recipients lists = library_.SendMail(albumId_, mail);
  const auto outbox = service_->Outbox();
  Prove(outbox.size() == 1 && outbox[0].recipients == Addresses{kFriend} && outbox[0].gpsRemoved &&
            outbox[0].subject == mail.subject && outbox[0].body == mail.text,
        fmt::format("the mail went to {} with its subject and text", kFriend));
  Prove(lists.rejected == Addresses{kBadAddress},
        fmt::format("the sender learns that \"{}\" was left out", kBadAddress));
}

void DemoStory::AbortDownload() {
  Title("Abort a download that takes for ever (7)");
  const std::string url = library_.Info(uploaded_[0].itemId).originalUrl;
  const std::string path = (folder_.Path() / "aborted.jpg").string();
  service_->SetScript([slow = PathOf(url)](const devservice::ClientRequest& request) {
    std::optional<devservice::Reply> reply;
    if (request.path != slow) return reply;
    reply.emplace();
    reply->body.assign(1 << 20, 'x');
    reply->bytesPerSecond = 20'000;
    return reply;
  });
  std::promise<void> moving;
  std::once_flag once;
  std::future<void> aborter;
  bool begun = false;
  std::uint32_t code = 0;
  {
    Progress whole(out_, {.doing = "fetching", .files = 1, .bytes = 0});
    Progress::Part progress(whole);
    aborter = std::async(
        std::launch::async,
        [&] {
          begun =
              moving.get_future().wait_for(std::chrono::seconds(20)) == std::future_status::ready;
          library_.Abort();
        });
    const auto files = library_.Download({{url, path}}, [&](const kelo::Progress& state) {
      progress(state);
      if (state.done > 0) std::call_once(once, [&] { moving.set_value(); });
    });
    code = files[0].error ? files[0].error->Code() : 0;
    std::call_once(once, [&] { moving.set_value(); });
    aborter.get();
  }
  library_.RememberAbort();
  service_->SetScript({});
  Prove(begun && code == kKELOResult_Aborted,
        "bytes were moving, and the command ended: " + ResultText(code));
  Prove(!fs::exists(path), "no partial file is left");
}

void DemoStory::ExtendAndClose() {
  Title("Keep the session alive, then close it (48, 4)");
  const size_t before = Arrived("VerifyRecipients");
  library_.ExtendToken(library_.Session(), service_->Secret());
  Prove(Arrived("VerifyRecipients") == before + 1, "the service saw the token in use");
  library_.Close();
  std::uint32_t code = 0;
  try {
    library_.Load();
  } catch (const Error& failure) {
    code = failure.Code();
  }
  Prove(code == kKELOResult_NoSession, "the closed session is no longer accepted");
}

void DemoStory::AllCommandsSeen() const {
  constexpr size_t kCommands = 22;
  Title("Done");
  Prove(library_.CountSent() == kCommands,
        fmt::format("all {} commands of the library were used", kCommands));
}

}  // namespace kelo::host
