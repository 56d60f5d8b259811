// Each entry's key is made once; the records themselves, 2728 bytes each, stay where they are.
#include "SortOrder.h"

#include <unicode/coll.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <string>

#include "Dates.h"
#include "Names.h"
#include "Records.h"
#include "ResultText.h"

namespace kelo::host {
namespace {

// By the Unicode collation's root order, the same on every machine.
class NameKeys {
 public:
  NameKeys() {
    UErrorCode status = U_ZERO_ERROR;
    collator_.reset(icu::Collator::createInstance(icu::Locale::getRoot(), status));
    if (U_SUCCESS(status)) collator_->setAttribute(UCOL_NUMERIC_COLLATION, UCOL_ON, status);
    if (U_FAILURE(status)) throw Failure("cannot sort by name: the collation is not available");
  }

  std::string operator()(const tagKELO_ItemInfo& entry) const {
    const icu::UnicodeString name = icu::UnicodeString::fromUTF8(Resolved(FieldText(entry.name)));
    std::string key(64, '\0');
    for (;;) {
      const std::int32_t length = collator_->getSortKey(
          name, reinterpret_cast<std::uint8_t*>(key.data()), static_cast<std::int32_t>(key.size()));
      const bool whole = static_cast<std::size_t>(length) <= key.size();
      key.resize(static_cast<std::size_t>(length));
      if (whole) return key;
    }
  }

 private:
  std::unique_ptr<icu::Collator> collator_;
};

template <typename KeyOf>
void SortBy(std::vector<const tagKELO_ItemInfo*>& entries, const KeyOf& keyOf) {
  std::vector<std::pair<decltype(keyOf(*entries[0])), const tagKELO_ItemInfo*>> keyed;
  keyed.reserve(entries.size());
  for (const tagKELO_ItemInfo* entry : entries) keyed.emplace_back(keyOf(*entry), entry);
  std::ranges::stable_sort(
      keyed, {}, [](const auto& pair) -> const auto& { return pair.first; });
  std::ranges::transform(keyed, entries.begin(), [](const auto& pair) { return pair.second; });
}

}  // namespace

std::string_view DateOf(const tagKELO_ItemInfo& entry, SortKey key) {
  const std::string_view date =
      key == SortKey::Upload ? FieldText(entry.uploadDate) : FieldText(entry.shotDate);
  return date.empty() ? FieldText(entry.modifyDate) : date;
}

std::vector<const tagKELO_ItemInfo*> Sorted(const std::vector<tagKELO_ItemInfo>& entries,
                                            SortOrder order) {
  std::vector<const tagKELO_ItemInfo*> sorted;
  sorted.reserve(entries.size());
  for (const tagKELO_ItemInfo& entry : entries) sorted.push_back(&entry);
  if (order.key == SortKey::Name) {
    SortBy(sorted, NameKeys());
  } else if (order.key != SortKey::Service) {
    SortBy(
        sorted,
        [&order](const tagKELO_ItemInfo& entry) {
          return ShownSeconds(DateOf(entry, order.key))
              .value_or(std::numeric_limits<std::int64_t>::max());
        });
  }
  if (order.reverse) std::ranges::reverse(sorted);
  return sorted;
}

}  // namespace kelo::host
