// The first half of the demonstration: opens a session, uploads the pictures and browses them.
#include "host/demo/DemoStory.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <utility>

#include "devservice/DevService.h"
#include "host/account/PrintTree.h"
#include "host/download/Fetch.h"
#include "host/library/StateFile.h"
#include "host/names/EntryWords.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"
#include "host/upload/Send.h"
#include "host/upload/Summary.h"
#include "host/upload/UploadTask.h"
#include "host/upload/Walk.h"

namespace kelo::host {
namespace {

namespace fs = std::filesystem;

constexpr size_t kFriendPictures = 2;
constexpr const char* kAlbum = "Pictures & more";

fs::path MakeTemporaryFolder() {
  std::string pattern = (fs::temp_directory_path() / "kelo-demo-XXXXXX").string();
  if (::mkdtemp(pattern.data()) == nullptr)
    throw Failure(fmt::format("cannot create {}: {}", pattern, std::strerror(errno)));
  return pattern;
}

}  // namespace

DemoFolder::DemoFolder() : path_(MakeTemporaryFolder()) {}

DemoFolder::~DemoFolder() {
  std::error_code failed;
  fs::remove_all(path_, failed);
}

DemoStory::DemoStory(RecordedLibrary& library, fs::path pictures, fs::path friendAlbum)
    : library_(library),
      out_(library.Out()),
      pictures_(std::move(pictures)),
      friendAlbum_(std::move(friendAlbum)) {}

DemoStory::~DemoStory() = default;

void DemoStory::Prove(bool proven, const std::string& what) const {
  if (!proven) throw Failure("the proof failed: " + what);
  out_.Line("  OK: " + what);
}

void DemoStory::Title(const std::string& title) const {
  out_.Line("\n" + title);
}

void DemoStory::Tell() {
  StartService();
  OpenSession();
  CreateAlbum();
  UploadPictures();
  UploadAgain();
  Browse();
  Edit();
  LinkIntoAlbum();
  DownloadEverything();
  ThereAndBackAgain();
  ShowStorage();
  Recipients();
  SendMail();
  AbortDownload();
  ExtendAndClose();
  AllCommandsSeen();
}

void DemoStory::MakeFriendAlbum(const UploadPlan& plan) {
  friendAlbum_ = folder_.Path() / "Anna's garden";
  fs::create_directory(friendAlbum_);
  size_t count = 0;
  for (const File* file : plan.files) {
    if (count == kFriendPictures || file->IsVoiceMemo()) continue;
    const fs::path copy =
        friendAlbum_ / fmt::format("picture {}{}", count + 1,
                                   std::filesystem::path(file->path).extension().string());
    std::error_code failed;
    count += fs::copy_file(file->path, copy, failed) ? 1 : 0;
  }
}

void DemoStory::StartService() {
  std::vector<File> files = FindFiles({pictures_.string()});
  const UploadPlan plan = PlanUpload(files, true);
  for (const File* file : plan.unfit)
    out_.Line(fmt::format("left out: {}: {}", Shown(file->path), file->reason));
  if (plan.files.empty())
    throw Failure(fmt::format("'{}' holds no pictures that can be sent; name another folder",
                              Shown(pictures_.string())));
  if (friendAlbum_.empty()) MakeFriendAlbum(plan);
  devservice::Service::Options options;
  options.quotaBytes = 1'000'000'000'000;
  service_ = std::make_unique<devservice::Service>(options);
  service_->ImportFriend(friendAlbum_);
  UseServer(service_->Url());
  out_.Line(fmt::format("A local service runs at {}; a friend shares the album \"{}\".",
                        service_->Url(), Shown(friendAlbum_.filename().string())));
}

void DemoStory::OpenSession() {
  Title("Open a session, hand it out, take it back; load the account (commands 3, 5, 6, 8)");
  const std::string secret = service_->Secret();
  library_.Open({service_->ApiKey(), service_->AuthToken(), secret});
  const Session session = library_.Session();
  library_.Restore(session, secret);
  const Session again = library_.Session();
  Prove(std::memcmp(&session, &again, sizeof session) == 0, "the session came back unchanged");
  library_.Load();
  Prove(library_.Count(kEverything, Kind::FileItem) == 0, "the account is loaded, and empty");
}

std::string DemoStory::AddContainer(const std::string& parent, Kind kind, const std::string& name) {
  std::string id =
      kind == Kind::Folder ? library_.AddFolder(name) : library_.AddAlbum(parent, name);
  out_.Line(fmt::format("  {} \"{}\" [{}]", KindText(kind), name, id));
  return id;
}

void DemoStory::CreateAlbum() {
  Title("Create a folder, and an album in it (18)");
  const std::string folder = AddContainer("", Kind::Folder, "Demonstration");
  albumId_ = AddContainer(folder, Kind::Album, kAlbum);
}

std::vector<File> DemoStory::Upload(const std::vector<std::string>& paths) {
  std::vector<File> files = FindFiles(paths);
  for (File& file : files) file.album = {.folder = {}, .album = kAlbum};
  std::vector<File> decided;
  Workers alone(library_, DoUploadTask, {});
  // Each time it remembers nothing, so that the service is asked.
  const DemoFolder folder;
  Memory memory(out_, folder.Path(), "demo");
  const auto digestOf = [&](const std::string& id) {
    return FetchDigest(library_, id, folder.Path());
  };
  Recognition recognition(
      memory,
      [this](bool) -> Library& {
        library_.Load();
        return library_;
      },
      digestOf);
  SendFiles(library_, alone, PlanUpload(files, true),
            {.albumId = [&](const AlbumName&) { return albumId_; },
             .recognition = recognition,
             .tags = "demo"},
            [&](const File& file) { decided.push_back(file); });
  return decided;
}

void DemoStory::UploadOnceMore(const std::vector<std::string>& paths) {
  const size_t before = Arrived("UploadItems");
  size_t held = 0;
  const auto files = Upload(paths);
  for (const File& file : files) {
    if (file.outcome == UploadOutcome::kStored) Prove(false, Shown(file.path) + " was sent twice");
    held += file.Held() ? 1 : 0;
  }
  // What was refused before is tried again, and refused again.
  Prove(Arrived("UploadItems") == before || held < files.size(),
        fmt::format("{} checked, nothing sent", CountText(held, "file")));
}

size_t DemoStory::Arrived(const std::string& method) const {
  size_t count = 0;
  for (const auto& request : service_->Arrived()) count += request.method == method ? 1 : 0;
  return count;
}

void DemoStory::UploadPictures() {
  Title("Put the pictures into the album (20; progress by 32 and 33)");
  std::map<std::string, bool> seen;
  size_t held = 0;
  const auto files = Upload({pictures_.string()});
  for (const File& file : files) {
    const std::string size =
        file.width == 0 ? "" : fmt::format(", {} x {}", file.width, file.height);
    const std::string shot = file.shotDate.empty() ? "" : ", shot " + file.shotDate;
    out_.Line(fmt::format("  {}: {}{}{}", Shown(file.Name()), OutcomeText(file), size, shot));
    held += file.Held() ? 1 : 0;
    if (file.Held() && !file.itemId.empty() && !std::exchange(seen[file.itemId], true))
      uploaded_.push_back(file);
  }
  Prove(!uploaded_.empty(),
        fmt::format("the service confirmed {} of {}", held, CountText(files.size(), "file")));
}

void DemoStory::UploadAgain() {
  Title("Put them again (20 with its check)");
  UploadOnceMore({pictures_.string()});
}

void DemoStory::Browse() {
  Title("Load the account again, and browse it (8, 9, 16, 17)");
  library_.Load();
  PrintTree(library_, out_, true);
  const auto items = library_.List(albumId_, Kind::FileItem);
  Prove(
      items.size() == uploaded_.size() && library_.Count(albumId_, Kind::FileItem) == items.size(),
      fmt::format("the album counts and lists {}", CountText(items.size(), "item")));
  const std::string_view id = items[0].id;
  const Item cached = library_.Info(id);
  const Item fresh = library_.FreshInfo(id);
  Prove(cached.raw.name == fresh.raw.name && cached.originalUrl == fresh.originalUrl,
        fmt::format("\"{}\" reads the same from memory and asked afresh", Shown(fresh.name)));
}

}  // namespace kelo::host
