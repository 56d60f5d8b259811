// Finds the local files that an upload's command line names: the first of its steps.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/upload/File.h"
#include "host/upload/UploadFilter.h"

namespace kelo::host {

// Files as given, folders walked to the bottom in the order of names, all described; what cannot
// travel is unfit, and what cannot be read, also a folder, unreadable. What the filter leaves out
// is counted in `leftOut`, which may be null. With `albums` each file has the album of its folder;
// of several paths, each folder counts as if it lay in the one that was named.
//
// A file that is reached twice, by links too, is taken once; with `albums` once for each album.
// Links to files are followed; those to folders only where the command line names them, so that no
// walk goes in a circle.
//
// `onFound` gets the paths before the file system is asked about each.
std::vector<File> FindFiles(const std::vector<std::string>& paths, const UploadFilter& filter = {},
                            bool albums = false, LeftOutCounts* leftOut = nullptr,
                            const std::function<void(const std::vector<File>&)>& onFound = {});

}  // namespace kelo::host
