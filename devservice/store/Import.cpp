// Reads the folders on disk, and adds those of their files that an earlier import has not.
#include "devservice/store/Import.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <set>
#include <system_error>
#include <tuple>

#include "devservice/files/PrivateFiles.h"
#include "devservice/store/FileKinds.h"

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

constexpr ListOrder kByName{"Name", false};

struct Contents {
  std::vector<fs::path> files;
  std::vector<fs::path> folders;
};

// Reads folders, each once, however many links lead to it.
class Walk {
 public:
  explicit Walk(const ImportWatcher& watcher) : watcher_(watcher) {}

  // By name, without hidden entries and those that cannot be read.
  Contents ContentsOf(const fs::path& directory) {
    Contents contents;
    struct stat status {};
    if (stat(directory.c_str(), &status) == 0 &&
        !seen_.emplace(status.st_dev, status.st_ino).second) {
      PassOver(directory, "it was read before, by another way");
      return contents;
    }
    std::error_code error;
    for (fs::directory_iterator at(directory, error), end; !error && at != end; at.increment(error))
      Add(*at, contents);
    if (error) PassOver(directory, error.message());
    std::ranges::sort(contents.files);
    std::ranges::sort(contents.folders);
    return contents;
  }

  std::vector<fs::path> FilesBelow(const fs::path& directory) {
    return FilesOf(ContentsOf(directory));
  }

  // These and all below them.
  std::vector<fs::path> FilesOf(const Contents& contents) {
    std::vector<fs::path> files = contents.files;
    for (const fs::path& folder : contents.folders)
      std::ranges::copy(FilesBelow(folder), std::back_inserter(files));
    return files;
  }

  void PassOver(const fs::path& path, const std::string& why) const {
    if (watcher_.passedOver) watcher_.passedOver(path.string(), why);
  }

 private:
  void Add(const fs::directory_entry& entry, Contents& contents) const {
    if (entry.path().filename().string().starts_with('.')) return;
    std::error_code error;
    const fs::file_status status = entry.status(error);
    if (fs::is_directory(status))
      contents.folders.push_back(entry.path());
    else if (fs::is_regular_file(status))
      contents.files.push_back(entry.path());
    else
      PassOver(entry.path(), error ? error.message() : "it is no file");
  }

  const ImportWatcher& watcher_;
  std::set<std::pair<dev_t, ino_t>> seen_;
};

std::string ModifyDateOf(const fs::path& file) {
  struct stat status {};
  return stat(file.c_str(), &status) == 0 ? Store::DateOf(status.st_mtime) : Store::Now();
}

// Whole, or not at all.
void Copy(const fs::path& from, const fs::path& to) {
  std::error_code failed;
  if (fs::copy_file(from, to, failed)) return MakePrivateFile(to);
  std::error_code ignored;
  if (failed != std::errc::file_exists) fs::remove(to, ignored);  // what stood there is another's
  throw fs::filesystem_error("cannot copy", from, failed);
}

class Importer {
 public:
  Importer(Store& store, AccountId account, bool copy, const ImportWatcher& watcher)
      : store_(store), account_(account), copy_(copy), watcher_(watcher) {
    for (const Folder& folder : store_.Folders(account_, kByName))
      folders_.emplace(folder.name, folder.id);
  }

  void AddFiles(const std::string& album, const std::vector<fs::path>& files) {
    for (const fs::path& file : files) {
      try {
        AddFile(album, file);
      } catch (const std::system_error& error) {
        if (watcher_.passedOver) watcher_.passedOver(file.string(), error.code().message());
      }
      if (watcher_.progress) watcher_.progress(++done_);
    }
  }

  std::string AlbumNamed(const std::string& folder, const std::string& name) {
    const auto [albums, isFirst] = albums_.try_emplace(folder);
    if (isFirst)
      for (const Album& album : store_.Albums(account_, folder, kByName))
        albums->second.emplace(album.name, album.id);
    const auto [found, isNew] = albums->second.try_emplace(name);
    if (isNew) found->second = store_.AddAlbum(account_, folder, name, now_);
    return found->second;
  }

  std::string FolderNamed(const std::string& name) {
    const auto [found, isNew] = folders_.try_emplace(name);
    if (isNew) found->second = store_.AddFolder(account_, name, now_);
    return found->second;
  }

 private:
  void AddFile(const std::string& album, const fs::path& path) {
    Item item;
    item.name = path.filename().string();
    item.size = fs::file_size(path);
    item.modifyDate = ModifyDateOf(path);
    std::set<FileKey>& known = KnownIn(album);
    const FileKey key = KeyOf(item);
    const bool isKnown = known.contains(key) || known.contains({item.name, item.size, ""});
    if (IsRefusedFile(item.name) || isKnown) return;
    item.id = store_.NewId('I');
    item.file = fs::absolute(path);
    if (access(path.c_str(), R_OK) != 0)
      throw fs::filesystem_error("cannot read", path, {errno, std::generic_category()});
    if (copy_) {
      item.file = store_.FilesDirectory() / item.id;
      Copy(path, item.file);
    }
    item.uploadDate = now_;
    DescribeFile(item);
    store_.AddItem(account_, album, item);
    known.insert(key);
  }

  // By which the import knows a file again, whose date may be missing in the account.
  using FileKey = std::tuple<std::string, std::uint64_t, std::string>;

  // Dates agree whether they are written with colons or hyphens, with a "Z" or without.
  static FileKey KeyOf(const Item& item) {
    std::string date = item.modifyDate;
    std::erase_if(date, [](char c) { return c == ':' || c == '-' || c == 'Z'; });
    std::ranges::replace(date, 'T', ' ');
    return {item.name, item.size, date};
  }

  // Those of one album, read once: a question for each file would look through all of its name.
  std::set<FileKey>& KnownIn(const std::string& album) {
    const auto [found, isFirst] = known_.try_emplace(album);
    if (isFirst)
      for (const Item& item : store_.Items(album, {"FileName", false}))
        found->second.insert(KeyOf(item));
    return found->second;
  }

  Store& store_;
  AccountId account_;
  bool copy_;
  const ImportWatcher& watcher_;
  size_t done_ = 0;
  const std::string now_ = Store::Now();
  using IdsByName = std::map<std::string, std::string>;  // the first of each name
  IdsByName folders_;
  std::map<std::string, IdsByName> albums_;         // of each folder that was looked into
  std::map<std::string, std::set<FileKey>> known_;  // by album
};

std::string NameOf(const fs::path& directory) {
  const fs::path normal = fs::absolute(directory).lexically_normal();
  return (normal.has_filename() ? normal : normal.parent_path()).filename().string();
}

}  // namespace

void ImportFolder(Store& store, AccountId account, const fs::path& directory, bool copy,
                  const ImportWatcher& watcher) {
  Transaction transaction = store.Begin();
  Walk walk(watcher);
  Importer importer(store, account, copy, watcher);
  const Contents top = walk.ContentsOf(directory);
  importer.AddFiles(store.RootAlbum(account), top.files);
  for (const fs::path& path : top.folders) {
    const Contents inner = walk.ContentsOf(path);
    const bool isFolder = !inner.folders.empty();
    const std::string folder = isFolder ? importer.FolderNamed(NameOf(path)) : std::string();
    if (!isFolder || !inner.files.empty())
      importer.AddFiles(importer.AlbumNamed(folder, NameOf(path)), inner.files);
    for (const fs::path& album : inner.folders)
      importer.AddFiles(importer.AlbumNamed(folder, NameOf(album)), walk.FilesBelow(album));
  }
  transaction.Commit();
}

std::vector<std::string> ImportAlbums(Store& store, AccountId owner, const fs::path& directory,
                                      bool copy, const ImportWatcher& watcher) {
  Transaction transaction = store.Begin();
  Walk walk(watcher);
  Importer importer(store, owner, copy, watcher);
  const Contents top = walk.ContentsOf(directory);
  const bool holdsAlbums = top.files.empty() && !top.folders.empty();
  std::vector<std::string> albums;
  for (const fs::path& path : holdsAlbums ? top.folders : std::vector{directory}) {
    albums.push_back(importer.AlbumNamed("", NameOf(path)));
    importer.AddFiles(albums.back(), holdsAlbums ? walk.FilesBelow(path) : walk.FilesOf(top));
  }
  transaction.Commit();
  return albums;
}

}  // namespace kelo::devservice
