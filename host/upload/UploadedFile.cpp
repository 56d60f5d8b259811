// Outcomes in words.
#include "host/upload/UploadedFile.h"

#include <fmt/format.h>

#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {

std::string UploadedFile::Words() const {
  const std::string id = itemId.empty() ? "" : fmt::format(" [{}]", Shown(itemId));
  switch (outcome) {
    case UploadOutcome::kStored:
      return fmt::format("stored, {}", ByteText(file.size));
    case UploadOutcome::kAlreadyThere:
      return "already there" + id;
    case UploadOutcome::kAlreadyInAlbum:
      return "already in the album" + id;
    case UploadOutcome::kPlaced:
      return fmt::format("was there, and is now in {}{}", album.Words(), id);
    case UploadOutcome::kNotPlaced:
      return fmt::format("was there, but is not in {}: {}", album.Words(),
                         ResultText(code, kKELOCommand_AddNewLink));
    case UploadOutcome::kNotConfirmed:
      return "sent, but not confirmed by the service";
    case UploadOutcome::kChanged:
      return "it changed while it was sent, and may be stored torn; send it again";
    case UploadOutcome::kNotSent:
      return code == 0 ? "not sent: a sound memo goes only with its picture"
                       : "not sent: " + ResultText(code, kKELOCommand_Upload);
    case UploadOutcome::kRefused:
    case UploadOutcome::kFailed:
      break;
  }
  return ResultText(code, kKELOCommand_Upload);
}

}  // namespace kelo::host
