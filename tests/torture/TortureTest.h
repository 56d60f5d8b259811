// A fixture that tries a command again and again, each time with another fault.
#pragma once

#include <string>
#include <vector>

#include "support/AccountTest.h"
#include "torture/FaultPoint.h"

namespace kelo::testing {

class TortureTest;

// What a command that succeeds does to the catalogue. Starts: there is none yet.
enum class Effect { None, Adds, Loads, Forgets, Starts };

struct Trial {
  const char* name;
  Effect effect;
  uint32_t (*send)(TortureTest&);
  friend void PrintTo(const Trial& trial, std::ostream* out) { *out << trial.name; }
};
// All commands, some of them in several ways.
std::vector<Trial> AllTrials();

class TortureTest : public AccountTest {
 public:
  // For the table of commands, which stands outside of the class.
  using AccountTest::Load;
  using AccountTest::Open;
  using AccountTest::Record;
  using AccountTest::Send;
  using AccountTest::service;
  // A command with an ordinary record.
  uint32_t SendRecord(uint32_t code, const std::string& target, uint32_t options, uint32_t kinds) {
    HostRecords records(recordsFolder_, "\xE6\xB5\xB7");
    records.text = "nobody;a@example.org;b@example.org";
    for (auto* text : {&records.recipients.recipients, &records.mail.recipients,
                       &records.mail.subject, &records.mail.body})
      *text = Text(records.text);
    SetField(records.link.itemIdList, picture_);
    tagCommandControlInfo record = Record(records.Of(code), target);
    record.entryCount = 1;
    record.outputOptions = options;
    record.selectionFlags = kinds;
    uint32_t result = Send(code, record);
    const uint32_t* word = records.ResultWord(code);
    if (result == 0 && word != nullptr) result = *word;
    return result == kKELOResult_RecipientsRejected ? 0 : result;
  }
  const std::string& Album() const { return album_; }
  const std::string& Picture() const { return picture_; }
  std::string PictureUrl() const { return Url() + picturePath_; }
  uint32_t SendDownload();
  uint32_t SendUpload(uint32_t options) {
    std::string id;
    return Upload(album_, id, options);
  }
  uint32_t SendAdd(uint32_t kind) {
    tagKELO_ItemInfo made = NewContainer(kind, "Made");
    return Add(made, "");
  }
  uint32_t SendSession() {
    tagKELO_SessionInfo session = session_;
    return Send(kKELOCommand_SetSessionInfo, Record(&session));
  }

 protected:
  void SetUp() override {
    signal(SIGALRM, [](int) {  // a command that never returns
      PrintCallers();
      const ssize_t written = write(STDERR_FILENO, point_.data(), point_.size());
      _exit(written > 0 ? 124 : 125);
    });
    ASSERT_NO_FATAL_FAILURE(OpenAccount());
    ASSERT_EQ(Send(kKELOCommand_GetSessionInfo, Record(&session_)), 0u);
  }
  void Prepare(Effect effect);
  void TryPoints(const Trial& trial, CallKind kind);
  void TryPoint(const Trial& trial, const FaultPoint& fault);
  void ExpectAllWell(Effect effect, const Catalogue& before);

 private:
  static inline std::string point_;  // that is being tried
  tagKELO_SessionInfo session_{};
  const TemporaryFolder recordsFolder_;
};

}  // namespace kelo::testing
