// The one general reading of elements and attributes in the service's answers: tag after tag in a
// single pass, without a copy and without an allocation.
//
// What serialisers may write differently makes no difference: behind a name stands white space, "/"
// or ">"; a tag's end is looked for outside of both kinds of quotes; comments and CDATA sections
// are passed over. What cannot be read costs its own tag and nothing behind it.
//
// Every result is a view into the text and lives as long as that does. Any thread; no state shared.
#pragma once

#include <array>
#include <cstddef>
#include <optional>
#include <string_view>

namespace kelo {

struct XMLTag {
  enum class Kind { Open, Empty, Close };
  Kind kind = Kind::Open;
  std::string_view name = {};
  std::string_view attributes = {};  // what follows the name, without the tag's end
  std::string_view text = {};        // the whole tag, from "<" to ">"
};

/// Reads the tags of a text in their order.
class XMLTagReader {
 public:
  explicit XMLTagReader(std::string_view text) : text_(text) {}

  /// The next tag; false behind the last one, and where the text ends inside a tag.
  bool Next(XMLTag& tag);

  /// After the last tag: the text ended inside a tag, a comment or a CDATA section.
  bool Broken() const { return broken_; }

 private:
  bool PassOver(std::string_view end);
  void ReadTag(std::string_view inside, XMLTag& tag);

  std::string_view text_;
  size_t at_ = 0;
  bool broken_ = false;
};

struct XMLAttribute {
  std::string_view name;
  std::string_view value;  // raw: references are not resolved
};

/// Takes the next attribute with a value in double quotes off the front of `rest`, the attributes
/// of a tag. One in single quotes, with blanks around "=" or without a value is passed over by
/// itself. False when there is none, also before a "/" or ">" where a name could stand.
bool NextAttribute(std::string_view& rest, XMLAttribute& attribute);

/// The values of the attributes of exactly these names, null for an absent one. Of equal names in
/// the tag the first wins.
template <size_t Count>
std::array<std::string_view, Count> ReadAttributes(std::string_view attributes,
                                                   const std::string_view (&names)[Count]) {
  std::array<std::string_view, Count> values;
  XMLAttribute attribute;
  while (NextAttribute(attributes, attribute)) {
    for (size_t i = 0; i < Count; ++i) {
      if (attribute.name != names[i]) continue;
      if (!values[i].data()) values[i] = attribute.value;
      break;
    }
  }
  return values;
}

/// What stands between the first opening tag of that name and the last closing one behind it; the
/// empty text for an empty element; nothing where there is no such element or it has no end.
std::optional<std::string_view> FindOutermostElement(std::string_view text, std::string_view name);

/// Calls visit(tag) for each opening tag of that name, empty elements included.
template <typename Visit>
void ForEachElement(std::string_view text, std::string_view name, Visit visit) {
  XMLTagReader reader(text);
  XMLTag tag;
  while (reader.Next(tag)) {
    if (tag.kind != XMLTag::Kind::Close && tag.name == name) visit(tag);
  }
}

}  // namespace kelo
