// The states of an arriving upload.
#include "devservice/methods/UploadReceiver.h"

#include <algorithm>

#include "devservice/files/PrivateFiles.h"
#include "devservice/http/RequestRecord.h"

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
constexpr std::size_t kFileBuffer = 1 << 20;

std::string FileHeader(const std::string& rawName) {
  return "\r\n--BOUNDARY\r\n"
         "Content-Disposition: form-data; name=\"" +
         rawName +
         "\"\r\n"
         "Content-Type: application/octet-stream\r\n"
         "Content-Transfer-Encoding: binary\r\n"
         "\r\n";
}

}  // namespace

UploadReceiver::UploadReceiver(Api& api, const LoggedRequest& head, std::uint64_t maxDocument)
    : api_(api), query_(head.query), maxDocument_(maxDocument), buffer_(kFileBuffer) {
  if (head.Header("Content-Type") != kContentType)
    Fail({ErrorNumber::MalformedUpload, "Unexpected Content-Type"});
  else if (head.Header("Content-Length").empty())
    Fail({ErrorNumber::MalformedUpload, "No Content-Length"});
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
      case State::Document:
        TakeDocument(bytes);
        break;
      case State::Framing:
        TakeFraming(bytes);
        break;
      case State::File:
        TakeFile(bytes);
        break;
      case State::Done:
        throw ServiceError(ErrorNumber::MalformedUpload, "Bytes after the closing boundary");
      case State::Failed:
        return;  // the rest is read and dropped
    }
  }
}

void UploadReceiver::TakeDocument(std::string_view& bytes) {
  // The end may lie across two arrivals.
  const std::size_t searchFrom = document_.size() - std::min(document_.size(), kDocumentEnd.size());
  const std::size_t before = document_.size();
  document_ += bytes;
  const std::size_t headed = std::min(document_.size(), kDocumentHeader.size());
  if (document_.compare(0, headed, kDocumentHeader, 0, headed) != 0)
    throw ServiceError(ErrorNumber::MalformedUpload, "Unexpected header of the document part");
  const std::size_t end = document_.find(kDocumentEnd, searchFrom);
  if (end == std::string::npos) {
    bytes = {};
    if (document_.size() > maxDocument_)
      throw ServiceError(ErrorNumber::MalformedUpload, "Document too long");
    return;
  }
  const std::size_t size = end + kDocumentEnd.size();
  bytes.remove_prefix(size - before);
  document_ = document_.substr(kDocumentHeader.size(), size - kDocumentHeader.size());
  Plan(document_);
  // Of no further use but for the log.
  if (document_.size() > RequestRecord::kMaxText)
    document_ = document_.substr(0, RequestRecord::kMaxText);
}

void UploadReceiver::Plan(std::string_view document) {
  plan_ = api_.PlanUpload(query_, document, report_);
  BeginFraming();
}

void UploadReceiver::BeginFraming() {
  framing_ =
      next_ < plan_->files.size() ? FileHeader(plan_->files[next_].rawName) : std::string(kClosing);
  matched_ = 0;
  state_ = State::Framing;
}

void UploadReceiver::TakeFraming(std::string_view& bytes) {
  const std::size_t size = std::min(bytes.size(), framing_.size() - matched_);
  if (framing_.compare(matched_, size, bytes.substr(0, size)) != 0) {
    throw ServiceError(
        ErrorNumber::MalformedUpload,
        "Unexpected bytes around file " + std::to_string(next_ + 1) + " of the upload");
  }
  matched_ += size;
  bytes.remove_prefix(size);
  if (matched_ < framing_.size()) return;
  if (next_ == plan_->files.size())
    state_ = State::Done;
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
  state_ = State::File;
  if (fileLeft_ == 0) {
    ++next_;
    file_.close();
    BeginFraming();
  }
}

void UploadReceiver::TakeFile(std::string_view& bytes) {
  const std::size_t size =
      static_cast<std::size_t>(std::min<std::uint64_t>(bytes.size(), fileLeft_));
  file_.write(bytes.data(), static_cast<std::streamsize>(size));
  bytes.remove_prefix(size);
  fileLeft_ -= size;
  if (fileLeft_ == 0) {
    file_.close();
    ++next_;
    BeginFraming();
  }
  if (!file_) throw ServiceError(ErrorNumber::StorageFull, "Cannot store the file");
}

void UploadReceiver::Fail(const ServiceError& error) {
  report_.Fail(error);
  state_ = State::Failed;
}

CallReport UploadReceiver::Finish() {
  if (state_ == State::Failed) return report_;
  try {
    if (state_ != State::Done) throw ServiceError(ErrorNumber::MalformedUpload, "Body too short");
    report_.answer = api_.FinishUpload(*plan_);
  } catch (const ServiceError& error) {
    report_.Fail(error);
  }
  return report_;
}

}  // namespace kelo::devservice
