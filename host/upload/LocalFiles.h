// The local files that an upload's command line names.
#pragma once

#include <string>
#include <vector>

#include "host/upload/AlbumNames.h"
#include "host/upload/Pictures.h"
#include "host/upload/UploadFilter.h"

namespace kelo::host {

struct FoundFile {
  LocalFile facts;
  AlbumName album;  // the one that its folder stands for
};

// A file that cannot travel, or a folder that cannot be read.
struct RefusedFile {
  std::filesystem::path path;
  std::string reason;
};

struct LocalFiles {
  std::vector<FoundFile> files;
  std::vector<RefusedFile> refused;
  LeftOutCounts leftOut;
};

// Files as given, folders walked to the bottom in the order of names. A file that is reached twice,
// by links too, is taken once; `albums`: once for each album. Links to files are followed; those to
// folders only where the command line names them, so that no walk goes in a circle.
LocalFiles FindLocalFiles(const std::vector<std::string>& paths, const UploadFilter& filter,
                          bool albums);

}  // namespace kelo::host
