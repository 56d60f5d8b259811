// What became of a file of an upload.
#pragma once

#include <cstdint>
#include <string>

#include "host/upload/AlbumNames.h"
#include "host/upload/Pictures.h"

namespace kelo::host {

enum class UploadOutcome {
  kStored,
  kAlreadyThere,
  kAlreadyInAlbum,
  kPlaced,  // was there, and is now in the album
  kNotPlaced,
  kRefused,
  kNotConfirmed,
  kChanged,  // was written to while it was sent: nobody knows what is stored
  kNotSent,
  kFailed
};

struct UploadedFile {
  LocalFile file;
  AlbumName album;
  UploadOutcome outcome = UploadOutcome::kFailed;
  std::uint32_t code = 0;  // of a failure; of kNotSent: why the upload ended, 0: another reason
  std::string itemId;      // where the service named one

  // The outcome in words.
  std::string Words() const;
  // Whether the service holds the file now.
  bool Held() const { return outcome <= UploadOutcome::kNotPlaced; }
};

}  // namespace kelo::host
