// The record of a local file on its way up. Each step of an upload fills its part: Walk.h finds the
// file, Recognition.h knows it by its bytes, Plan.h finds what goes together, Pictures.h looks into
// it, Send.h decides its outcome, and Summary.h tells that. Whoever has found the files owns them;
// the later steps point to them.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/memory/Memory.h"

namespace kelo::host {

// An album at the top (no folder) or in a folder. Without an album: in no album at all.
struct AlbumName {
  std::string folder;
  std::string album;

  bool Empty() const { return album.empty(); }
  std::string Words() const;  // "Journeys/Lisbon", fit for a terminal
  auto operator<=>(const AlbumName&) const = default;
};

enum class UploadOutcome {
  kStored,
  kAlreadyThere,
  kAlreadyInAlbum,
  kPlaced,  // was there, and is now in the album
  kNotPlaced,
  kNotConfirmed,
  kChanged,  // was written to while it was sent: the stored copy may be damaged
  kNotSent,
  kFailed,
  kUnreadable,  // it cannot be looked at now
  kUnfit,       // as it is, no upload can take it
  kUndecided
};

struct File {
  std::string path;  // a path object takes 160 bytes more
  // What the file system tells.
  std::uint64_t size = 0;
  std::string modifyDate{};  // "2024-05-17T10:11:12Z"
  Stamp stamp{};
  AlbumName album{};  // where it goes
  // What a picture tells.
  std::string shotDate{};  // "2024-05-17T10:11:12", the camera's clock; empty: unknown
  std::uint32_t width = 0;
  std::uint32_t height = 0;
  // What is known of its bytes (Recognition.h).
  std::string digest{};   // empty: not known, or not asked for
  bool isKnown = false;   // its item is known by them, without a question
  bool isCertain = true;  // false where the service has taken it for its item by name, size, date
  bool isKept = false;    // the memory holds all this already
  bool wasOther = false;  // it is the item of an earlier run with other bytes
  // The small ones of other parts stand together, where they take least memory.
  bool stampHolds = true;          // a change after the look into it would show
  bool maybeSent = false;          // by a request of this run that had no answer: it may be stored
  bool wasTold = false;            // it is unfit, and an earlier run has said so
  const File* original = nullptr;  // of a copy, and of its memo: the first like it
  const File* picture = nullptr;   // of a voice memo that goes with one
  size_t place = 0;                // among the files of the plan
  UploadOutcome outcome = UploadOutcome::kUndecided;
  std::uint32_t code = 0;  // of a failure; of kNotSent: why the upload ended, 0: another reason
  std::string itemId{};    // the item that it is, if any
  std::string reason{};    // why it is unreadable or unfit

  std::string Name() const { return path.substr(path.rfind('/') + 1); }
  // ".wav": goes with the picture of its name.
  bool IsVoiceMemo() const;
  // "IMG_1.JPG" and "img_1.wav" of one folder belong together: they have the same.
  std::string PairKey() const;
  // Whether the file system has told of it.
  bool IsDescribed() const { return !modifyDate.empty(); }
  // Whether the service holds the file now.
  bool Held() const { return outcome <= UploadOutcome::kNotPlaced; }
  // No request can have it.
  bool CannotGo() const {
    return outcome == UploadOutcome::kUnreadable || outcome == UploadOutcome::kUnfit;
  }
};

using Files = std::vector<File*>;
Files PointersTo(std::vector<File>& files);

// Largest file that the upload record can describe.
constexpr std::uint64_t kMaxFile = (1ull << 31) - 1;

// With the ASCII letters small.
std::string Lower(std::string text);

// Bytes of all.
std::uint64_t SizeOf(const Files& files);

// What the memory keeps of it. Its stamp is of use only where a change since would show.
KnownFile RowOf(const File& file, const std::string& itemId);

// Adds to the path what the file system tells. False where the file cannot be read or is no regular
// one; it then has its outcome and the reason.
bool Describe(File& file);
// The same of the file that is there now, readable or not; nothing if there is no regular one.
std::optional<File> NowAt(const std::string& path);
bool IsReadable(const std::string& path);

// What the service's check compares, as far as it is known without opening the file; `name` may be
// another one for it.
std::string CheckKey(const File& file, const std::string& name);

// Byte for byte; false also when either cannot be read.
bool SameContent(const std::filesystem::path& left, const std::filesystem::path& right);

}  // namespace kelo::host
