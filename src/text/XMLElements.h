// The one general reading of elements and attributes in the service's answers: tag after tag in a
// single pass, without a copy and without an allocation.
//
// What serialisers may write differently makes no difference: behind a name stands white space, "/"
// or ">"; a tag's end is looked for outside of values, which stand in either kind of quotes behind
// a "=" and may hold everything but their quote; comments and CDATA sections that have an end are
// passed over. What cannot be read, such as a value with a quote in it, costs attributes of its own
// tag; later tags are not affected.
//
// Every result is a view into the text and lives as long as that does. Any thread; no state shared.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string_view>
#include <utility>

namespace kelo {

struct XMLTag {
  enum class Kind { Open, Empty, Close };
  Kind kind = Kind::Open;
  std::string_view name = {};
  std::string_view attributes = {};  // what follows the name, without the tag's end
  std::string_view text = {};        // the whole tag, from "<" to ">"
};

// Asked before each tag: whether the text is to be read as if it ended there.
using XMLStop = std::function<bool()>;

// Reads the tags of a text in their order.
class XMLTagReader {
 public:
  explicit XMLTagReader(std::string_view text, XMLStop stop = {})
      : text_(text), stop_(std::move(stop)) {}

  // The next tag; false behind the last one, and where the text ends inside a tag.
  bool Next(XMLTag& tag);

  // After the last tag: the text ended inside a tag, or was not read to its end.
  bool Broken() const { return broken_; }

 private:
  void PassOver(std::string_view end);
  void ReadTag(std::string_view inside, XMLTag& tag);

  std::string_view text_;
  XMLStop stop_;
  size_t at_ = 0;
  // For comments, CDATA sections and declarations: from where on none has an end.
  std::array<size_t, 3> endless_{SIZE_MAX, SIZE_MAX, SIZE_MAX};
  bool broken_ = false;
};

struct XMLAttribute {
  std::string_view name;
  std::string_view value;  // raw: references are not resolved
};

// Takes the next attribute with a value in double quotes off the front of `rest`, the attributes
// of a tag. One in single quotes, with blanks around "=" or without a value is passed over by
// itself. False when there is none, also before a "/" or ">" where a name could stand.
bool NextAttribute(std::string_view& rest, XMLAttribute& attribute);

// Faster: takes the next attribute only if it has this name and one blank before it.
inline bool NextAttribute(std::string_view& rest, std::string_view name, std::string_view& value) {
  const size_t begin = name.size() + 3;
  if (rest.size() < begin || rest[0] != ' ' || rest[begin - 1] != '"' || rest[begin - 2] != '=' ||
      rest.substr(1, name.size()) != name)
    return false;
  const size_t end = rest.find('"', begin);
  if (end == std::string_view::npos) return false;
  value = rest.substr(begin, end - begin);
  rest.remove_prefix(end + 1);
  return true;
}

// The values of the attributes of exactly these names, null for an absent one. Of equal names in
// the tag the first wins. Quickest where they stand in the order of the names.
template <size_t Count>
std::array<std::string_view, Count> ReadAttributes(std::string_view attributes,
                                                   const std::string_view (&names)[Count]) {
  std::array<std::string_view, Count> values;
  XMLAttribute attribute;
  for (size_t next = 0;;) {
    if (next < Count && !values[next].data() &&
        NextAttribute(attributes, names[next], values[next])) {
      ++next;
      continue;
    }
    if (!NextAttribute(attributes, attribute)) return values;
    size_t found = 0;
    while (found < Count && attribute.name != names[found]) ++found;
    if (found == Count) continue;
    if (!values[found].data()) values[found] = attribute.value;
    next = found + 1;
  }
}

// A single value of an answer, such as "stat": that of the first `name="..."` in the text. The text
// is searched as plain bytes: the tag may be broken, and the name may be the end of a longer one,
// "Count" in `totalCount="4"`. Nothing where there is none.
std::optional<std::string_view> FindAttribute(std::string_view text, std::string_view name);

// What stands between the first opening tag of that name and the last closing one behind it; the
// empty text for an empty element; nothing where there is no such element or it has no end.
std::optional<std::string_view> FindOutermostElement(std::string_view text, std::string_view name,
                                                     const XMLStop& stop = {});

// Calls visit(tag) for each opening tag of that name, empty elements included.
template <typename Visit>
void ForEachElement(std::string_view text, std::string_view name, Visit visit,
                    const XMLStop& stop = {}) {
  XMLTagReader reader(text, stop);
  XMLTag tag;
  while (reader.Next(tag))
    if (tag.kind != XMLTag::Kind::Close && tag.name == name) visit(tag);
}

}  // namespace kelo
