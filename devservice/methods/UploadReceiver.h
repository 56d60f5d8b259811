// A multipart upload as it arrives: its document is read and planned first, then every byte of
// framing is compared with what the document implies, and the file bytes go straight to their
// files. Nothing is searched for in file contents, and nothing but the document is held in memory.
#pragma once

#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "devservice/http/Message.h"
#include "devservice/methods/Api.h"
#include "devservice/protocol/ServiceError.h"

namespace kelo::devservice {

// Used by one connection thread. Files of an upload that is not finished are removed.
class UploadReceiver {
 public:
  // Its document may have so many bytes.
  UploadReceiver(Api& api, const ClientRequest& head, std::uint64_t maxDocument);
  ~UploadReceiver();

  void Take(std::string_view bytes);

  // After the last byte: stores the files, or says what was wrong.
  CallReport Finish();
  // The document part, as far as it is kept.
  const std::string& Document() const { return document_; }

 private:
  void TakeChecked(std::string_view bytes);
  void TakeDocument(std::string_view& bytes);
  void TakeFraming(std::string_view& bytes);
  void TakeFile(std::string_view& bytes);
  void BeginFraming();
  void OpenFile();
  void Fail(const ServiceError& error);
  std::string Place() const;  // of the framing
  std::string WhatIsMissing() const;

  enum class State { kDocument, kFraming, kFile, kDone, kFailed };

  Api& api_;
  std::string query_;
  std::uint64_t maxDocument_;
  State state_ = State::kDocument;
  std::string document_;  // with the part header before it, until planned
  std::optional<ExpectedUpload> plan_;
  size_t next_ = 0;      // the file whose framing or bytes come next
  std::string framing_;  // what must come next ...
  std::string framed_;   // ... and what of it has
  std::uint64_t fileLeft_ = 0;
  std::vector<char> buffer_;
  std::ofstream file_;
  CallReport report_;
};

}  // namespace kelo::devservice
