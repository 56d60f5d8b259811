// Opens a session, lists the albums with their pictures and downloads the first picture: browse.c
// as a host in C++ writes it.
//
//   c++ -std=c++20 browse.cpp $(pkg-config --cflags --libs tVQAccess2)
#include <KELOAccess.hpp>
#include <cstdio>
#include <optional>

namespace {

// Lists every album; the first picture of all, if there is one.
std::optional<kelo::Item> Browse(kelo::Library& library) {
  std::optional<kelo::Item> first;
  for (const kelo::Item& album : library.List(kelo::kEverything, kelo::Kind::Album)) {
    std::printf("%s\n", album.name.c_str());
    try {
      for (const kelo::Item& item : library.List(album.id, kelo::Kind::FileItem)) {
        std::printf("  %s  %s\n", item.name.c_str(), item.shotDate.c_str());
        if (!first) first = item;
      }
    } catch (const kelo::Error& error) {  // of this album alone: its id may be too long
      std::fprintf(stderr, "%s\n", error.what());
    }
  }
  return first;
}

void Download(kelo::Library& library, const kelo::Item& item, const char* path) {
  const auto report = [&](const kelo::Progress& progress) {
    std::fprintf(stderr, "\r%s: %u of %u bytes", path, progress.done, progress.total);
  };
  const kelo::DownloadedFile file = library.Download({{item.originalUrl, path}}, report).front();
  std::fprintf(stderr, "\n");
  if (file.error) throw kelo::Error(*file.error);
  std::printf("%s: %u bytes in %s\n", item.name.c_str(), file.size, path);
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 5) {
    std::fprintf(stderr, "usage: browse API-KEY AUTH-TOKEN SECRET FILE\n");
    return 2;
  }
  kelo::Library library;
  library.Open({.apiKey = argv[1], .authToken = argv[2], .signingSecret = argv[3]});
  library.Load();
  if (const auto first = Browse(library)) Download(library, *first, argv[4]);
  library.Close();
  return 0;
} catch (const std::exception& error) {
  std::fprintf(stderr, "%s\n", error.what());
  return 1;
}
