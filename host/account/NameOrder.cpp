// Compares names by the Unicode collation's root order.
#include "host/account/NameOrder.h"

#include <fmt/format.h>
#include <unicode/coll.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>
#include <tuple>
#include <utility>

#include "host/names/EntryWords.h"
#include "host/names/Failure.h"
#include "host/names/Names.h"

namespace kelo::host {
namespace {

int RankOf(const Item& entry) {
  if (entry.kind == Kind::RootAlbum) return 0;
  if (entry.kind == Kind::Folder) return 1;
  return IsContainer(entry) ? 2 : 3;
}

}  // namespace

class NameOrder::Collation {
 public:
  Collation() {
    UErrorCode status = U_ZERO_ERROR;
    collator_.reset(icu::Collator::createInstance(icu::Locale::getRoot(), status));
    if (U_SUCCESS(status)) collator_->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    if (U_FAILURE(status))
      throw Failure(fmt::format(
          "cannot sort by name: {}; the data of the Unicode library (ICU) may be missing",
          u_errorName(status)));
  }

  std::string KeyOf(const Item& entry) const {
    const icu::UnicodeString name = icu::UnicodeString::fromUTF8(Composed(entry.name));
    std::string key(64, '\0');
    for (;;) {
      const std::int32_t length = collator_->getSortKey(
          name, reinterpret_cast<std::uint8_t*>(key.data()), static_cast<std::int32_t>(key.size()));
      const bool whole = static_cast<size_t>(length) <= key.size();
      key.resize(static_cast<size_t>(length));
      if (whole) return key;
    }
  }

 private:
  std::unique_ptr<icu::Collator> collator_;
};

NameOrder::NameOrder() : collation_(std::make_unique<Collation>()) {}

NameOrder::~NameOrder() = default;

std::string NameOrder::KeyOf(const Item& entry) const {
  return collation_->KeyOf(entry);
}

void NameOrder::Sort(std::vector<Item>& entries) const {
  using Key = std::tuple<int, std::string, size_t>;
  std::vector<Key> keys;
  keys.reserve(entries.size());
  for (const Item& entry : entries) keys.emplace_back(RankOf(entry), KeyOf(entry), keys.size());
  std::ranges::sort(keys);
  std::vector<Item> sorted;
  sorted.reserve(entries.size());
  for (const Key& key : keys) sorted.push_back(std::move(entries[std::get<size_t>(key)]));
  entries = std::move(sorted);
}

}  // namespace kelo::host
