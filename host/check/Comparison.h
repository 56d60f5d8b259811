// Compares files here with items of the account: by what this machine knows of their bytes, by the
// service's check where it knows nothing, and by downloading where that is wanted. Nothing is
// stored in the account; what is learnt goes into the memory.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "host/check/CheckedItems.h"
#include "host/memory/Memory.h"
#include "host/upload/File.h"
#include "host/workers/Workers.h"

namespace kelo::host {

enum class Agreement {
  kSame,
  kChanged,   // the item is there, and has other bytes
  kOnlyHere,  // no item is the file, or was
  kUnknown    // it could not be found out
};

struct ComparedFile {
  const File& file;
  Agreement agreement = Agreement::kOnlyHere;
  const CheckedItem* item = nullptr;  // which it is the same as, or has changed from
  std::string itemId{};               // of kSame and kChanged
  bool isTaken = false;               // for the same: by name, size and date, not by its bytes
  std::uint32_t code = 0;             // of a failure of the service or of the library
  std::string problem{};              // why nothing is known
};

struct ComparisonTerms {
  Library& library;
  Workers& workers;
  Memory& memory;
  bool downloads = false;  // what the memory is not certain of, to compare its bytes
};

// `report` hears of each file once, in their order, as soon as its outcome is known. Marks the
// items that a file is, was or may be. Throws Error when aborted.
void CompareFiles(const ComparisonTerms& terms, std::vector<File>& files, CheckedItems& items,
                  const std::function<void(const ComparedFile&)>& report);

}  // namespace kelo::host
