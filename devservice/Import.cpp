// Folders on disk to folders and albums.
#include "devservice/Import.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>

#include "devservice/FileKinds.h"

namespace kelo::devservice {
namespace {

namespace fs = std::filesystem;

constexpr Order kByName{"Name", false};

struct Contents {
  std::vector<fs::path> files;
  std::vector<fs::path> folders;
};

// By name, without hidden entries.
Contents ContentsOf(const fs::path& directory) {
  Contents contents;
  for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
    if (entry.path().filename().string().starts_with('.')) continue;
    if (entry.is_directory()) contents.folders.push_back(entry.path());
    if (entry.is_regular_file()) contents.files.push_back(entry.path());
  }
  std::ranges::sort(contents.files);
  std::ranges::sort(contents.folders);
  return contents;
}

std::vector<fs::path> FilesBelow(const fs::path& directory) {
  Contents contents = ContentsOf(directory);
  for (const fs::path& folder : contents.folders)
    std::ranges::copy(FilesBelow(folder), std::back_inserter(contents.files));
  return contents.files;
}

std::string ModifyDateOf(const fs::path& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return Store::Now();
  std::tm utc{};
  gmtime_r(&status.st_mtime, &utc);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc)};
}

class Importer {
 public:
  Importer(Store& store, AccountId account, bool copy)
      : store_(store), account_(account), copy_(copy) {}

  void AddFiles(const std::string& album, const std::vector<fs::path>& files) {
    for (const fs::path& file : files) AddFile(album, file);
  }

  std::string AlbumNamed(const std::string& folder, const std::string& name) {
    for (const Album& album : store_.Albums(account_, folder, kByName))
      if (album.name == name) return album.id;
    return store_.AddAlbum(account_, folder, name, now_);
  }

  std::string FolderNamed(const std::string& name) {
    for (const Folder& folder : store_.Folders(account_, kByName))
      if (folder.name == name) return folder.id;
    return store_.AddFolder(account_, name, now_);
  }

 private:
  void AddFile(const std::string& album, const fs::path& path) {
    Item item;
    item.name = path.filename().string();
    item.size = fs::file_size(path);
    item.modifyDate = ModifyDateOf(path);
    const FileDescription description{item.name, item.size, "", "", item.modifyDate};
    const auto known = store_.FindDuplicate(account_, description, album);
    if (IsRefusedFile(item.name) || (known && store_.IsInAlbum(album, known->id))) return;
    item.id = store_.NewId('I');
    item.file = fs::absolute(path);
    if (copy_) {
      item.file = store_.FilesDirectory() / item.id;
      fs::copy_file(path, item.file);
    }
    item.uploadDate = now_;
    DescribeFile(item);
    store_.AddItem(account_, album, item);
  }

  Store& store_;
  AccountId account_;
  bool copy_;
  const std::string now_ = Store::Now();
};

std::string NameOf(const fs::path& directory) {
  const fs::path normal = fs::absolute(directory).lexically_normal();
  return (normal.has_filename() ? normal : normal.parent_path()).filename().string();
}

}  // namespace

void ImportFolder(Store& store, AccountId account, const fs::path& directory, bool copy) {
  Transaction transaction = store.Begin();
  Importer importer(store, account, copy);
  const Contents top = ContentsOf(directory);
  importer.AddFiles(store.RootAlbum(account), top.files);
  for (const fs::path& path : top.folders) {
    const Contents inner = ContentsOf(path);
    const bool isFolder = !inner.folders.empty();
    const std::string folder = isFolder ? importer.FolderNamed(NameOf(path)) : std::string();
    if (!isFolder || !inner.files.empty())
      importer.AddFiles(importer.AlbumNamed(folder, NameOf(path)), inner.files);
    for (const fs::path& album : inner.folders)
      importer.AddFiles(importer.AlbumNamed(folder, NameOf(album)), FilesBelow(album));
  }
  transaction.Commit();
}

std::vector<std::string> ImportAlbums(Store& store, AccountId owner, const fs::path& directory,
                                      bool copy) {
  Transaction transaction = store.Begin();
  Importer importer(store, owner, copy);
  const Contents top = ContentsOf(directory);
  const bool holdsAlbums = top.files.empty() && !top.folders.empty();
  std::vector<std::string> albums;
  for (const fs::path& path : holdsAlbums ? top.folders : std::vector{directory}) {
    albums.push_back(importer.AlbumNamed("", NameOf(path)));
    importer.AddFiles(albums.back(), FilesBelow(path));
  }
  transaction.Commit();
  return albums;
}

}  // namespace kelo::devservice
