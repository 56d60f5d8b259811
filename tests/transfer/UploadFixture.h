// A fixture with files to upload into a scripted account.
#pragma once

#include <deque>

#include "support/CommandTest.h"

namespace kelo::testing {

class UploadTest : public CommandTest {
 protected:
  UploadTest() : CommandTest(100 * sizeof(tagKELO_ItemInfo)) {}

  // A record for a file of the test's folder. Its texts stay valid until the end of the test.
  tagKELO_LoadInfo File(const std::string& name, const std::string& bytes) {
    texts_.push_back(folder().Write(name, bytes));
    return UploadOf(texts_.back(), static_cast<int32_t>(bytes.size()));
  }
  void Name(tagKELO_LoadInfo& record, const std::string& name) {
    record.fileName = Text(texts_.emplace_back(name));
  }
  uint32_t Upload(std::vector<tagKELO_LoadInfo>& records, const std::string& album,
                  uint32_t options = 0, uint32_t checkMask = 7) {
    tagKELO_LoadInfo none{};
    tagCommandControlInfo record =
        Record(records.empty() ? &none : records.data(), album, options, checkMask);
    record.entryCount = static_cast<uint32_t>(records.size());
    return Send(kKELOCommand_Upload, record);
  }
  uint32_t CountOf(const std::string& album) { return ItemInfo(album).itemCount; }

  std::deque<std::string> texts_;
};

}  // namespace kelo::testing
