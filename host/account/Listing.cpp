// Makes the rows of a listing, sorts them and prints them.
#include "host/account/Listing.h"

#include <algorithm>
#include <limits>
#include <tuple>

#include "host/account/EntryJson.h"
#include "host/names/Dates.h"
#include "host/names/EntryWords.h"
#include "host/names/Names.h"
#include "host/terminal/Columns.h"

namespace kelo::host {
namespace {

constexpr size_t kMaxPending = 1u << 16;  // bytes of lines

struct EntryDate {
  std::string_view text;  // lies in the entry
  DateClock clock;
  bool isOther = false;  // than the one asked for, which is not known
};

// The date that a row shows, and by which it is sorted.
EntryDate DateOf(const Item& entry, ListingKey key) {
  if (key == ListingKey::kUpload && entry.uploadDate[0] != '\0')
    return {entry.uploadDate, DateClock::kUniversal};
  if (key != ListingKey::kUpload && entry.shotDate[0] != '\0')
    return {entry.shotDate, DateClock::kCamera};
  const bool isAsked = key == ListingKey::kShot || key == ListingKey::kUpload;
  return {entry.modifyDate, DateClock::kUniversal, isAsked && !IsContainer(entry)};
}

void AddColumn(std::string& line, std::string_view text, size_t width) {
  line.append(text).append(width - std::min(width, Columns(text)) + 2, ' ');
}

std::string KindOf(const Item& entry) {
  if (!IsContainer(entry)) return std::string(FormatText(entry.fileFormat));
  return fmt::format("{} ({})", KindText(entry.kind), entry.itemCount);
}

}  // namespace

Listing::Listing(Output& out, SortOrder order) : out_(out), order_(order) {
  if (order.key == ListingKey::kName) names_.emplace();
}

void Listing::Add(const Item& entry) {
  empty_ = false;
  if (order_.key == ListingKey::kGiven && !order_.reverse)
    Tell(RowOf(entry));
  else
    rows_.push_back(RowOf(entry));
}

Listing::Row Listing::RowOf(const Item& entry) const {
  Row row;
  const EntryDate date = DateOf(entry, order_.key);
  if (names_) row.name = names_->KeyOf(entry);
  if (order_.key == ListingKey::kShot || order_.key == ListingKey::kUpload) {
    row.date =
        ShownSeconds(date.text, date.clock).value_or(std::numeric_limits<std::int64_t>::max());
  }
  if (out_.IsJson()) {
    row.object = EntryJson(entry);
  } else {
    AddColumn(row.line, EntryId(entry), 27);
    AddColumn(row.line, KindOf(entry), 16);
    if (date.isOther && !date.text.empty()) row.line.back() = '~';
    AddColumn(row.line, DateText(date.text, date.clock), 16);
    row.line += EntryName(entry);
  }
  return row;
}

void Listing::Tell(const Row& row) {
  if (out_.IsJson()) return out_.Result({}, row.object);
  if (lines_.size() != 0) lines_.push_back('\n');
  lines_.append(row.line);
  if (lines_.size() >= kMaxPending) Flush();
}

void Listing::Flush() {
  if (lines_.size() != 0) out_.Line({lines_.data(), lines_.size()});
  lines_.clear();
}

bool Listing::Finish() {
  std::ranges::stable_sort(rows_, {}, [](const Row& row) { return std::tie(row.date, row.name); });
  if (order_.reverse) std::ranges::reverse(rows_);
  for (const Row& row : rows_) Tell(row);
  rows_.clear();
  Flush();
  return !empty_;
}

}  // namespace kelo::host
