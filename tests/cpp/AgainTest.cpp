// Libraries after failures, one after the other, and hosts that send a command again.
#include <gmock/gmock.h>

#include "LibraryFixture.h"

namespace kelo::testing {

std::string TryAnotherLibrary();  // in the other translation unit

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::SizeIs;

// Sends what failed once more, keeps what it sent, and may be aborted behind any of it.
class PatientLibrary : public Library {
 public:
  std::uint32_t Command(std::uint32_t code, tagCommandControlInfo* record,
                        const OnProgress& progress) override {
    sent.push_back(code);
    if (before) before();
    std::uint32_t result = Library::Command(code, record, progress);
    if (result != kKELOResult_Success) {
      failed.push_back(result);
      if (between) between();
      result = Library::Command(code, record, progress);
    }
    if (sent.size() == abortBehind) Abort();
    if (behind) std::exchange(behind, nullptr)();
    return result;
  }

  std::vector<std::uint32_t> sent;
  std::vector<std::uint32_t> failed;  // with which result, the first time
  std::size_t abortBehind = 0;
  std::function<void()> before;   // the first try
  std::function<void()> between;  // two tries
  std::function<void()> behind;   // a call
};

class AgainTest : public LibraryTest {
 protected:
  AgainTest() {
    library_.reset();
    patient_.emplace();
    patient_->Open(Known());
    patient_->sent.clear();
    Script();
  }
  // Codes; 0 is success.
  template <typename Outcomes>
  static std::vector<std::uint32_t> Codes(const Outcomes& outcomes) {
    std::vector<std::uint32_t> codes;
    for (const auto& one : outcomes) codes.push_back(one.error ? one.error->Code() : 0);
    return codes;
  }

  std::optional<PatientLibrary> patient_;
};

TEST_F(AgainTest, EachCommandComesThroughOnePlace) {
  Script("AddFolder", "garbage", "<r stat=\"ok\" folderId=\"F1\" />");
  EXPECT_EQ(patient_->AddFolder("Trips"), "F1");
  patient_->List(kRoot, Kind::Folder);
  EXPECT_THAT(patient_->sent, ElementsAre(18, 9, 16));
}

TEST_F(AgainTest, WhatWasMadeIsNotMadeAgain) {
  Script("AddAlbum", "<r stat=\"ok\" albumId=\"A1\" />", "garbage",
         "<r stat=\"ok\" albumId=\"A2\" />");
  const auto added = patient_->AddContainers(kRoot, {{"one"}, {"two"}});
  EXPECT_EQ(added[0].id + added[1].id, "A1A2");
  const auto sent = Requests("AddAlbum");
  ASSERT_EQ(sent.size(), 3u);
  EXPECT_THAT(sent[1].body, HasSubstr("two"));

  Script("", "first", ReplyWith("gone", 500), "second");
  EXPECT_THAT(Codes(patient_->Download(
                  {{Url() + "/1", folder().Path("1")}, {Url() + "/2", folder().Path("2")}})),
              ElementsAre(0, 0));
  EXPECT_EQ(folder().Read("1") + folder().Read("2"), "firstsecond");
}

// A refusal is of one record, anything else ends the batch; so does an abort between two.
TEST_F(AgainTest, BatchesEndWhereOneCommandWould) {
  Script("AddItemsToAlbum", "<r stat=\"fail\" errcode=\"302\" />", kOk, "garbage");
  EXPECT_THAT(Codes(patient_->AddLinks("A", {"1", "2", "3", "4"})),
              ElementsAre(4115, 0, 4144, 4144));
  EXPECT_THAT(Requests("AddItemsToAlbum"), SizeIs(4)) << "the third twice, the fourth never";

  Script("AddItemsToAlbum", kOk);
  patient_->sent.clear();
  patient_->abortBehind = 2;
  EXPECT_THAT(Codes(patient_->AddLinks("A", {"1", "2", "3", "4"})), ElementsAre(0, 0, 3, 3));
  EXPECT_THAT(Codes(patient_->AddLinks("A", {"5"})), ElementsAre(0)) << "the abort is over";
}

// At whatever moment of the call it comes.
TEST_F(AgainTest, AnAbortIsKeptFromTheBeginning) {
  service().SetScript([](const ClientRequest&) { return Reply{.silent = true}; });
  std::atomic<int> begun = 0;
  patient_->before = [&] { ++begun; };
  for (int call = 1; call <= 100; ++call) {
    std::jthread other([&] {
      while (begun < call) std::this_thread::yield();
      patient_->Abort();
    });
    EXPECT_THAT(
        Codes(patient_->Download({{Url() + "/1", folder().Path("1")}}, [](const Progress&) {})),
        ElementsAre(3));
  }
}

// The address sanitizer tells of texts that nobody frees.
TEST_F(AgainTest, NothingOfAnEarlierTryIsLeft) {
  Script("VerifyRecipients", RejectionOf("b@x"), kOk);
  const Recipients verified = patient_->VerifyRecipients({"a@x", "b@x"});
  EXPECT_THAT(patient_->failed, ElementsAre(kKELOResult_RecipientsRejected));
  EXPECT_THAT(verified.accepted, ElementsAre("a@x", "b@x"));
  EXPECT_THAT(verified.rejected, ElementsAre());
  // What a host sends in the midst of a call leaves the call's own texts alone.
  patient_->behind = [&] { patient_->Count(kRoot, Kind::Album); };
  EXPECT_THAT(patient_->VerifyRecipients({"a@x"}).accepted, ElementsAre("a@x"));
}

// Of an upload, only this is kept: whether any try may have stored something.
TEST_F(AgainTest, AFailedUploadIsThatOfItsLastTry) {
  const std::string file = folder().Write("a.jpg", "a");
  const auto upload = [&] {
    return Told([&] {
      return patient_->Upload("", {{.path = file}, {.path = file}}, {.checkDuplicates = true});
    });
  };
  const std::string found =
      "<r stat=\"ok\"><items><item idx=\"1\" status=\"1\" itemId=\"I1\" />"
      "<item idx=\"2\" status=\"0\" /></items></r>";
  Script("UploadItems", "garbage");
  Script("CheckUploadItems", found, "garbage");
  EXPECT_EQ(upload(), ":4144 :4144 4144 may be stored");
  EXPECT_EQ(upload(), ":4144 :4144 4144") << "neither was sent";
  patient_->between = [&] { patient_->Restore({}, ""); };
  EXPECT_EQ(upload(), ":4116 :4116 4116");
}

TEST_F(LibraryTest, ThereIsOneAtATime) {
  constexpr const char* kRefused =
      "cannot start the library: there is a kelo::Library already (4112)";
  EXPECT_EQ(TryAnotherLibrary(), kRefused);
  EXPECT_EQ(TryAnotherLibrary(), kRefused) << "the one that was refused ended the other's turn";
  Open();  // the first one is what it was
  EXPECT_EQ(library_->Capacity().used, 0u);
  library_.reset();
  EXPECT_EQ(TryAnotherLibrary(), "");
  library_ = std::make_unique<Library>();
  EXPECT_THAT(Failure([&] { library_->Load(); }), HasSubstr("(4116)")) << "it inherits nothing";
}

}  // namespace
}  // namespace kelo::testing
