// Writes the answer that the service would give for a sample account of the wanted size.
#include "catalogue/SampleAccount.h"

#include <cstdio>

namespace kelo::bench {
namespace {

std::string Number(const char* format, uint64_t value) {
  char text[32];
  const int length = std::snprintf(text, sizeof text, format, static_cast<unsigned long>(value));
  return {text, static_cast<size_t>(length)};
}

void Append(std::string& out, const char* name, const std::string& value) {
  out.append(" ").append(name).append("=\"").append(value).append("\"");
}

std::string Date(uint64_t number) {
  return "2009:" + Number("%02lu", number % 12 + 1) + ":" + Number("%02lu", number % 28 + 1) +
         " 10:11:" + Number("%02lu", number % 60);
}

void AppendItem(std::string& out, uint64_t number) {
  const std::string id = SampleId('i', number);
  const std::string host = "http://images" + Number("%lu", number % 8) + ".talvo.example/";
  out.append("<item");
  Append(out, "itemId", id);
  Append(out, "fileName", "DSC" + Number("%05lu", number) + ".JPG");
  Append(out, "fileFormat", "image/jpeg");
  Append(out, "modifyDate", Date(number));
  Append(out, "shotDate", Date(number / 2));
  Append(out, "uploadDate", Date(number / 3));
  Append(out, "screenUrl", host + "screen/" + id);
  Append(out, "origUrl", host + "orig/" + id);
  out.append("/>\n");
}

void AppendAlbum(std::string& out, const AccountSize& size, size_t album) {
  const size_t first = size.items * album / size.albums;
  const size_t end = size.items * (album + 1) / size.albums;
  out.append("<album");
  Append(out, "albumId", SampleId('a', album));
  Append(out, "albumName", "Album " + Number("%lu", album));
  Append(out, "modifyDate", Date(album));
  Append(out, "shareFlag", album % 10 == 0 ? "true" : "false");
  Append(out, "itemsCount", Number("%lu", end - first));
  out.append("><items>\n");
  for (size_t item = first; item < end; ++item) AppendItem(out, item);
  out.append("</items></album>\n");
}

}  // namespace

std::string SampleId(char kind, uint64_t number) {
  const uint64_t mixed = (number + 1) * 0x9E3779B97F4A7C15u;  // one to one, and out of order
  return kind + Number("%026lu", mixed);
}

std::string SampleHierarchyAnswer(const AccountSize& size) {
  std::string out =
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<response stat=\"ok\">\n<folders>\n";
  const size_t inFolders = size.folders == 0 ? 0 : size.albums / 2;
  for (size_t folder = 0; folder < size.folders; ++folder) {
    const size_t first = inFolders * folder / size.folders;
    const size_t end = inFolders * (folder + 1) / size.folders;
    out.append("<folder");
    Append(out, "folderId", SampleId('f', folder));
    Append(out, "folderName", "Folder " + Number("%lu", folder));
    Append(out, "modifyDate", Date(folder));
    Append(out, "albumCount", Number("%lu", end - first));
    out.append("><albums>\n");
    for (size_t album = first; album < end; ++album) AppendAlbum(out, size, album);
    out.append("</albums></folder>\n");
  }
  out.append("</folders>\n<albums>\n");
  for (size_t album = inFolders; album < size.albums; ++album) AppendAlbum(out, size, album);
  return out.append("</albums>\n</response>\n");
}

}  // namespace kelo::bench
