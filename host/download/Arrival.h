// Where a download arrives: a file beside its destination that moves there when it is whole and has
// its date. Errors are errno values, 0 on success.
#pragma once

#include <ctime>
#include <filesystem>
#include <optional>

namespace kelo::host {

// Creates the folder if need be, and removes what runs that were killed have left in it.
int PrepareFolder(const std::filesystem::path& folder);

// The path of this process's arriving file in the folder; one at a time. Nothing stands there.
std::filesystem::path ArrivalIn(const std::filesystem::path& folder);

// Dates the arrived file, writes it to the disk and moves it to its destination: EEXIST where
// something stands there, or, with `replace`, in its place at once. After a failure there is no
// arrived file.
int Settle(const std::filesystem::path& arrived, const std::filesystem::path& path,
           std::optional<std::time_t> modified, bool replace);

}  // namespace kelo::host
