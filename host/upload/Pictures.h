// Looks into files on their way up: what they are now, and what a picture tells of itself.
#pragma once

#include <functional>

#include "host/upload/File.h"

namespace Exiv2 {
class Image;
}

namespace kelo::host {

// Reads the metadata of a picture, and hands it over. Not called for what is none.
void ReadPicture(const File& file, const std::function<void(const Exiv2::Image&)>& use);

// Adds the time of the shot, the size in pixels and the digest. A file that has been written to
// since it was found goes as it is now; what can no longer go shows that when it is sent. Those
// that are known already are not opened.
void ReadPictureFacts(const Files& files);

}  // namespace kelo::host
