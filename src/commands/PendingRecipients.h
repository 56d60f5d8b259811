// The addresses that wait for the service's verdict, and the finding of the one that it rejects.
#pragma once

#include <array>
#include <cstddef>
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

  // Takes out the entry that stands for `address` and answers it as it was given; nothing when none
  // does. Compares in four steps, ignoring case and outer blanks: as they are; with the address's
  // references resolved (an entry has none: they would be split at their ";"); without "mailto:";
  // by what is in angle brackets. The first entry that agrees at the earliest step wins.
  std::optional<std::string> Take(std::string_view address);

 private:
  // What an address is compared by at each step; null where that is the same as the step before.
  using Forms = std::array<std::optional<CFTPSStringData>, 4>;
  static Forms FormsOf(std::string_view given, std::string_view decoded);
  static bool Agree(const Forms& a, const Forms& b, size_t step);

  struct Entry {
    std::string given;
    Forms forms;  // kept, however often they are compared
  };
  std::vector<Entry> entries_;
};

}  // namespace kelo
