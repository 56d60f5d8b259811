// Bytes go through the states of the upload: document, then framing and file by turns, the end.
#include "devservice/methods/UploadReceiver.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "devservice/files/PrivateFiles.h"
#include "devservice/http/RequestRecord.h"
#include "devservice/protocol/RequestDocument.h"

namespace kelo::devservice {
namespace {

constexpr std::string_view kContentType = "multipart/form-data; boundary=BOUNDARY";
constexpr std::string_view kDocumentHeader =
    "--BOUNDARY\r\n"
    "Content-Disposition: form-data; name=\"XML\"\r\n"
    "Content-Type: text/plain; charset=UTF-8\r\n"
    "Content-Transfer-Encoding: 8bit\r\n"
    "\r\n";
constexpr std::string_view kDocumentEnd = "</UploadItems>\r\n";
constexpr std::string_view kClosing = "\r\n--BOUNDARY--\r\n";
constexpr size_t kFileBuffer = 1 << 20;

std::string FileHeader(const std::string& rawName) {
  return "\r\n--BOUNDARY\r\n"
         "Content-Disposition: form-data; name=\"" +
         rawName +
         "\"\r\n"
         "Content-Type: application/octet-stream\r\n"
         "Content-Transfer-Encoding: binary\r\n"
         "\r\n";
}

[[noreturn]] void Refuse(const std::string& why) {
  throw ServiceError(ErrorNumber::kMalformedUpload, why);
}

// Compares what came with what must be there, and says where they part.
void RequireSame(std::string_view came, std::string_view expected, const std::string& place) {
  const auto [differs, end] = std::ranges::mismatch(expected, came);
  if (end == came.end()) return;
  Refuse("expected " + Quoted(expected) + " " + place + ": byte " +
         std::to_string(differs - expected.begin() + 1) + " of that differs");
}

}  // namespace

UploadReceiver::UploadReceiver(Api& api, const ClientRequest& head, std::uint64_t maxDocument)
    : api_(api), query_(head.query), maxDocument_(maxDocument), buffer_(kFileBuffer) {
  if (head.Header("Content-Type") != kContentType)
    Fail({ErrorNumber::kMalformedUpload, "Content-Type is not " + std::string(kContentType)});
  else if (head.Header("Content-Length").empty())
    Fail({ErrorNumber::kMalformedUpload, "No Content-Length"});
}

UploadReceiver::~UploadReceiver() {
  file_.close();
  if (!plan_) return;
  std::error_code ignored;
  for (const PlannedFile& file : plan_->files)
    if (!file.item.file.empty()) std::filesystem::remove(file.item.file, ignored);
}

void UploadReceiver::Take(std::string_view bytes) {
  try {
    TakeChecked(bytes);
  } catch (const ServiceError& error) {
    Fail(error);
  }
}

void UploadReceiver::TakeChecked(std::string_view bytes) {
  while (!bytes.empty()) {
    switch (state_) {
      case State::kDocument:
        TakeDocument(bytes);
        break;
      case State::kFraming:
        TakeFraming(bytes);
        break;
      case State::kFile:
        TakeFile(bytes);
        break;
      case State::kDone:
        Refuse("bytes behind the closing boundary");
      case State::kFailed:
        return;  // the rest is read and dropped
    }
  }
}

void UploadReceiver::TakeDocument(std::string_view& bytes) {
  // The end may lie across two arrivals.
  const size_t searchFrom = document_.size() - std::min(document_.size(), kDocumentEnd.size());
  const size_t before = document_.size();
  document_ += bytes;
  RequireSame(std::string_view(document_).substr(0, kDocumentHeader.size()), kDocumentHeader,
              "at the beginning of the body");
  const size_t end = document_.find(kDocumentEnd, searchFrom);
  if (end == std::string::npos) {
    bytes = {};
    if (document_.size() > maxDocument_)
      Refuse("the document is longer than " + std::to_string(maxDocument_) + " bytes");
    return;
  }
  const size_t size = end + kDocumentEnd.size();
  bytes.remove_prefix(size - before);
  document_ = document_.substr(kDocumentHeader.size(), size - kDocumentHeader.size());
  plan_ = api_.PlanUpload(query_, document_, report_);
  BeginFraming();
  // Of no further use but for the log.
  if (document_.size() > RequestRecord::kMaxText)
    document_ = document_.substr(0, RequestRecord::kMaxText);
}

void UploadReceiver::BeginFraming() {
  framing_ =
      next_ < plan_->files.size() ? FileHeader(plan_->files[next_].rawName) : std::string(kClosing);
  framed_.clear();
  state_ = State::kFraming;
}

void UploadReceiver::TakeFraming(std::string_view& bytes) {
  const size_t size = std::min(bytes.size(), framing_.size() - framed_.size());
  framed_ += bytes.substr(0, size);
  RequireSame(framed_, framing_, Place());
  bytes.remove_prefix(size);
  if (framed_.size() < framing_.size()) return;
  if (next_ == plan_->files.size())
    state_ = State::kDone;
  else
    OpenFile();
}

void UploadReceiver::OpenFile() {
  const Item& item = plan_->files[next_].item;
  MakePrivateFile(item.file);
  file_ = std::ofstream();
  file_.rdbuf()->pubsetbuf(buffer_.data(), static_cast<std::streamsize>(buffer_.size()));
  file_.open(item.file, std::ios::binary | std::ios::trunc);
  fileLeft_ = item.size;
  state_ = State::kFile;
}

void UploadReceiver::TakeFile(std::string_view& bytes) {
  const size_t size = static_cast<size_t>(std::min<std::uint64_t>(bytes.size(), fileLeft_));
  const std::string& name = plan_->files[next_].item.name;
  file_.write(bytes.data(), static_cast<std::streamsize>(size));
  bytes.remove_prefix(size);
  fileLeft_ -= size;
  if (fileLeft_ == 0) {
    file_.close();
    ++next_;
    BeginFraming();
  }
  if (!file_) {
    throw ServiceError(ErrorNumber::kStorageFull,
                       "Cannot store " + name + ": " + std::strerror(errno));
  }
}

void UploadReceiver::Fail(const ServiceError& error) {
  report_.Fail(error);
  state_ = State::kFailed;
}

std::string UploadReceiver::Place() const {
  if (next_ == 0) return "behind the document";
  return "behind the " + std::to_string(plan_->files[next_ - 1].item.size) + " bytes of file " +
         std::to_string(next_);
}

std::string UploadReceiver::WhatIsMissing() const {
  if (state_ == State::kDocument) return "the body ends before " + Quoted(kDocumentEnd);
  if (state_ == State::kFraming) return "the body ends before " + Quoted(framing_) + " " + Place();
  return "the body ends " + std::to_string(fileLeft_) + " bytes before the end of file " +
         std::to_string(next_ + 1);
}

CallReport UploadReceiver::Finish() {
  if (state_ == State::kFailed) return report_;
  try {
    if (state_ != State::kDone) Refuse(WhatIsMissing());
    report_.answer = api_.FinishUpload(*plan_);
  } catch (const ServiceError& error) {
    report_.Fail(error);
  }
  return report_;
}

}  // namespace kelo::devservice
