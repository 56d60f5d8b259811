// Reads from the header of a movie when it was made.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace kelo::host {

// Whether a file that begins so is a QuickTime or MP4 movie.
bool IsMovie(std::string_view beginning);

// "2024-05-17T08:11:12" on the clock that the camera has written, by the rules universal time;
// empty: not known. Reads the heads of at most 2000 parts, whatever the file holds.
std::string MovieDate(const std::filesystem::path& movie);

}  // namespace kelo::host
