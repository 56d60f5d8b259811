// What an upload tells about a local file: size, dates, and for pictures the time of the shot and
// the size in pixels.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace kelo::host {

// Largest file that the upload record can describe.
constexpr std::uint64_t kMaxFile = (1ull << 31) - 1;

struct LocalFile {
  std::filesystem::path path;
  std::uint64_t size = 0;
  std::string modifyDate{};  // "2024-05-17T10:11:12Z"
  std::string createDate{};
  std::string shotDate{};  // "2024-05-17T10:11:12", the camera's clock; empty: unknown
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  std::uint64_t device = 0;  // with the inode: which file it is, under whatever name
  std::uint64_t inode = 0;
};

// Adds to the path size, dates and identity. Throws Failure, with the reason alone, when it is no
// regular file or cannot be read.
void Describe(LocalFile& file);
// The same of the file that is there now; nothing when it cannot be read.
std::optional<LocalFile> NowAt(const std::filesystem::path& path);

// Adds what the picture itself tells; leaves files that are no pictures as they are.
void AddPictureFacts(LocalFile& file);

// ".wav": a voice memo, which travels with the picture of the same name.
bool IsSoundMemo(const std::filesystem::path& path);

}  // namespace kelo::host
