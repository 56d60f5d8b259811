// Puts a request and its files' outcomes into messages, and takes them out again.
#include "host/upload/UploadTask.h"

#include <utility>
#include <vector>

#include "host/names/Names.h"

namespace kelo::host {
namespace {

Message MessageOf(const File& file) {
  return {{"path", file.path},          {"size", file.size},   {"modifyDate", file.modifyDate},
          {"shotDate", file.shotDate},  {"width", file.width}, {"height", file.height},
          {"maybeSent", file.maybeSent}};
}

File FileOf(const Message& message) {
  return {.path = message.at("path").get<std::string>(),
          .size = message.at("size"),
          .modifyDate = message.at("modifyDate"),
          .shotDate = message.at("shotDate"),
          .width = message.at("width"),
          .height = message.at("height"),
          .maybeSent = message.at("maybeSent")};
}

Message OutcomeMessage(const File& file) {
  return {{"maybeSent", file.maybeSent},
          {"outcome", file.outcome},
          {"code", file.code},
          {"itemId", file.itemId}};
}

void SetOutcome(File& file, const Message& outcome) {
  file.maybeSent = outcome.at("maybeSent");
  file.outcome = outcome.at("outcome");
  file.code = outcome.at("code");
  file.itemId = outcome.at("itemId");
}

// The worker died, or was ended.
UploadAnswer Lost(const Library& library, const UploadRequest& request, bool hasSetOut) {
  if (library.IsStopped()) return {.code = kKELOResult_Aborted};
  for (File* file : request.files) file->maybeSent |= hasSetOut;
  return {.code = kKELOResult_ConnectionLost, .mayPass = true};
}

}  // namespace

void Announce(const Files& files, Progress::Part& progress) {
  std::vector<std::string> names;
  std::vector<std::uint64_t> sizes;
  for (const File* file : files) {
    names.push_back(Shown(file->Name()));
    sizes.push_back(file->size);
  }
  progress.Begin(std::move(names), std::move(sizes));
}

UploadAnswer PerformThere(Workers::Lane& lane, Library& library, const UploadRequest& request,
                          const OnProgress& progress, bool checkOnly, size_t other) {
  Message files = Message::array();
  for (const File* file : request.files) files.push_back(MessageOf(*file));
  bool hasSetOut = false;  // the first event comes before the upload does, and behind the check
  const auto done = lane.Do({{"files", std::move(files)},
                             {"check", request.check},
                             {"albumId", request.albumId},
                             {"tags", request.tags},
                             {"checkOnly", checkOnly},
                             {"other", other}},
                            -1, [&](const kelo::Progress& event) {
                              hasSetOut = true;
                              return !progress || progress(event);
                            });
  if (!done) return Lost(library, request, hasSetOut);
  for (size_t at = 0; at < request.files.size(); ++at)
    SetOutcome(*request.files[at], done->at("files").at(at));
  library.Note(done->at("code"));
  return {.code = done->at("code"), .mayPass = done->at("mayPass")};
}

Message DoUploadTask(Library& library, const Message& task, int, const OnProgress& progress) {
  std::vector<File> files;
  for (const Message& file : task.at("files")) files.push_back(FileOf(file));
  UploadRequest request{.files = PointersTo(files),
                        .check = task.at("check"),
                        .albumId = task.at("albumId"),
                        .tags = task.at("tags")};
  const UploadAnswer answer =
      Perform(library, request, progress, task.at("checkOnly"), task.at("other"));
  Message outcomes = Message::array();
  for (const File& file : files) outcomes.push_back(OutcomeMessage(file));
  return {{"code", answer.code}, {"mayPass", answer.mayPass}, {"files", std::move(outcomes)}};
}

}  // namespace kelo::host
