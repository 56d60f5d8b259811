// A file of an upload as its documents describe it: its name, what that says about the file, and
// the line that every document has for it.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "KELOAccess.h"
#include "protocol/RequestDocument.h"

namespace kelo {

// The record's file name, or the last component of its path (empty where the path ends in a
// separator), as character and entity references.
std::string DisplayName(const tagKELO_LoadInfo& record);

// A voice memo that travels with a picture: at least 5 characters, the last 4 ".wav" in any case.
bool IsSoundFile(std::string_view displayName);

// Appends the document's line about one file: its position, its display name, and what
// appendRest(document) adds.
template <typename AppendRest>
void AppendUploadItem(std::string& document, size_t idx, std::string_view displayName,
                      AppendRest appendRest) {
  document.append("<item");
  AppendAttribute(document, "idx", idx);
  AppendConvertedAttribute(document, "fileName", displayName);
  appendRest(document);
  document.append(" />\r\n");
}

}  // namespace kelo
