// What `put` tells: each file's fate as it comes, and the sums at the end.
#pragma once

#include <map>
#include <set>
#include <string>

#include "host/terminal/Output.h"
#include "host/upload/Upload.h"

namespace kelo::host {

class PutSummary {
 public:
  PutSummary(Output& out, bool dryRun) : out_(out), dryRun_(dryRun) {}

  void Take(const UploadedFile& file);
  void Take(const RefusedFile& file);

  // The sums; gives the exit code.
  int Finish(const LeftOutCounts& leftOut);
  // "120 of 236 stored".
  std::string DoneOf(std::size_t all) const;

 private:
  std::size_t Count(UploadOutcome outcome) const;
  std::string WordsOf(const UploadedFile& file) const;
  std::string Where() const;

  Output& out_;
  const bool dryRun_;
  std::map<UploadOutcome, std::size_t> counts_;
  std::size_t refused_ = 0;
  std::set<AlbumName> placedIn_;
  std::uint32_t endedBy_ = 0;
};

}  // namespace kelo::host
