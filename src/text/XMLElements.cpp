// The reading of XMLElements.h. Each step looks at the text between two angle brackets a few times
// at most, so the whole takes linear time whatever the text holds.
#include "text/XMLElements.h"

#include <algorithm>

namespace kelo {
namespace {

constexpr auto npos = std::string_view::npos;

constexpr bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

constexpr bool IsQuote(char c) {
  return c == '"' || c == '\'';
}

// Of a name only its beginning is looked at closely, to tell "a < b" from a tag.
constexpr bool BeginsName(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == ':' ||
         static_cast<unsigned char>(c) >= 0x80;
}

constexpr std::array<bool, 256> kEndsAttributeName = [] {
  std::array<bool, 256> ends{};
  for (const unsigned char c : {' ', '\t', '\r', '\n', '=', '"', '\'', '>'}) ends[c] = true;
  return ends;
}();

size_t SkipBlanks(std::string_view text, size_t at) {
  while (at < text.size() && IsBlank(text[at])) ++at;
  return at;
}

size_t FindTagNameEnd(std::string_view inside) {
  size_t at = 0;
  while (at < inside.size() && !IsBlank(inside[at]) && inside[at] != '/') ++at;
  return at;
}

size_t FindAttributeNameEnd(std::string_view text, size_t at) {
  while (at < text.size() && !kEndsAttributeName[static_cast<unsigned char>(text[at])]) ++at;
  return at;
}

// What ends a comment, a section or a declaration; empty for a tag. The text is what follows a "<".
std::string_view EndOfNoTag(std::string_view behind) {
  if (behind.empty() || (behind[0] != '!' && behind[0] != '?')) return {};
  if (behind.starts_with("!--")) return "-->";
  return behind.starts_with("![CDATA[") ? "]]>" : ">";
}

// What most tags are, told apart by counting alone; in bytes, so that a processor counts many at
// once.
bool HasOnlyWholeDoubleQuotes(std::string_view text) {
  unsigned char odd = 0;
  unsigned char other = 0;
  for (const char c : text) {
    odd ^= static_cast<unsigned char>(c == '"');
    other |= static_cast<unsigned char>(c == '\'');
  }
  return odd == 0 && other == 0;
}

// The '>' of the tag whose name ends at `from`: the first one outside of quotes. Where an odd quote
// hides that until the next '<', it is the first one of all.
size_t FindTagEnd(std::string_view text, size_t from) {
  const size_t first = text.find('>', from);
  if (first == npos || HasOnlyWholeDoubleQuotes(text.substr(from, first - from))) return first;
  const size_t last = std::min(text.find('<', from), text.size());
  char quote = '\0';
  for (size_t at = from; at < last; ++at) {
    const char c = text[at];
    if (quote != '\0') {
      if (c == quote) quote = '\0';
    } else if (c == '>') {
      return at;
    } else if (IsQuote(c)) {
      quote = c;
    }
  }
  return first;
}

// The position behind an attribute that is not read; `at` is the end of its name.
size_t PassOverAttribute(std::string_view text, size_t at) {
  const size_t equals = SkipBlanks(text, at);
  if (equals == text.size() || text[equals] != '=')
    return at < text.size() && IsQuote(text[at]) ? at + 1 : at;  // an odd quote hides nothing
  at = SkipBlanks(text, equals + 1);
  if (at == text.size()) return at;
  if (IsQuote(text[at])) {
    const size_t end = text.find(text[at], at + 1);
    return (end == npos ? at : end) + 1;
  }
  while (at < text.size() && !IsBlank(text[at]) && text[at] != '>') ++at;
  return at;
}

}  // namespace

bool XMLTagReader::Next(XMLTag& tag) {
  while ((at_ = text_.find('<', at_)) < text_.size()) {
    const std::string_view behind = text_.substr(at_ + 1);
    if (const std::string_view end = EndOfNoTag(behind); !end.empty()) {
      if (!PassOver(end)) return false;
      continue;
    }
    const size_t name = behind.starts_with('/') ? 1 : 0;
    if (name < behind.size() && !BeginsName(behind[name])) {
      ++at_;
      continue;
    }
    const size_t end = FindTagEnd(behind, name);
    if (end == npos) break;
    ReadTag(behind.substr(0, end), tag);
    return true;
  }
  broken_ = at_ < text_.size();
  at_ = text_.size();
  return false;
}

bool XMLTagReader::PassOver(std::string_view end) {
  const size_t at = text_.find(end, at_);
  broken_ = at == npos;
  at_ = broken_ ? text_.size() : at + end.size();
  return !broken_;
}

void XMLTagReader::ReadTag(std::string_view inside, XMLTag& tag) {
  tag.text = text_.substr(at_, inside.size() + 2);
  at_ += tag.text.size();
  tag.kind = XMLTag::Kind::Open;
  if (inside.starts_with('/')) {
    tag.kind = XMLTag::Kind::Close;
    inside.remove_prefix(1);
  } else if (inside.ends_with('/')) {
    tag.kind = XMLTag::Kind::Empty;
    inside.remove_suffix(1);
  }
  const size_t nameEnd = FindTagNameEnd(inside);
  tag.name = inside.substr(0, nameEnd);
  tag.attributes = inside.substr(nameEnd);
}

bool NextAttribute(std::string_view& rest, XMLAttribute& attribute) {
  size_t at = SkipBlanks(rest, 0);
  while (at < rest.size() && rest[at] != '/' && rest[at] != '>') {
    const size_t nameEnd = FindAttributeNameEnd(rest, at);
    if (nameEnd == at || !rest.substr(nameEnd).starts_with("=\"")) {
      at = SkipBlanks(rest, PassOverAttribute(rest, nameEnd));
      continue;
    }
    const size_t value = nameEnd + 2;
    const size_t valueEnd = rest.find('"', value);
    if (valueEnd == npos) break;
    attribute = {rest.substr(at, nameEnd - at), rest.substr(value, valueEnd - value)};
    rest.remove_prefix(valueEnd + 1);
    return true;
  }
  rest = {};
  return false;
}

std::optional<std::string_view> FindOutermostElement(std::string_view text, std::string_view name) {
  std::optional<size_t> begin;
  std::optional<std::string_view> found;
  XMLTagReader reader(text);
  XMLTag tag;
  while (reader.Next(tag)) {
    if (tag.name != name) continue;
    const auto at = static_cast<size_t>(tag.text.data() - text.data());
    if (tag.kind == XMLTag::Kind::Close) {
      if (begin) found = text.substr(*begin, at - *begin);
    } else if (!begin) {
      if (tag.kind == XMLTag::Kind::Empty) return std::string_view(tag.text).substr(0, 0);
      begin = at + tag.text.size();
    }
  }
  return found;
}

}  // namespace kelo
