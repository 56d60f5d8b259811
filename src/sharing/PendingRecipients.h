// The addresses that wait for the service's verdict, and the finding of the one that it rejects.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/CFTPSStringData.h"

namespace kelo {

class PendingRecipients {
 public:
  // Splits a list at ";" and ",". Empty pieces between separators are kept; a separator at the very
  // end yields no further piece.
  explicit PendingRecipients(std::string_view list);

  bool empty() const { return entries_.empty(); }

  // The entries in their order, joined with ";".
  std::string Joined() const;

  // Takes out the first entry that stands for `address`: the whole entry without surrounding
  // blanks, ignoring case; if none does, one that carries the address in angle brackets. Answers
  // the entry as it was given; nothing when no entry stands for the address.
  std::optional<std::string> Take(std::string_view address);

 private:
  struct Entry {
    std::string given;
    CFTPSStringData trimmed;  // keeps the form that is compared, however often that happens
  };
  std::vector<Entry> entries_;
};

// Texts joined with ";".
std::string JoinRecipients(const std::vector<std::string>& recipients);

}  // namespace kelo
