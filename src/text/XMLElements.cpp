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
  while (at < inside.size() && !IsBlank(inside[at]) && inside[at] != '/' && inside[at] != '>') ++at;
  return at;
}

size_t FindAttributeNameEnd(std::string_view text, size_t at) {
  while (at < text.size() && !kEndsAttributeName[static_cast<unsigned char>(text[at])]) ++at;
  return at;
}

// Whether a "<" in front of the text begins something, or is a character of some text.
bool BeginsMarkup(std::string_view behind) {
  if (behind.starts_with("!--") || behind.starts_with("![CDATA[")) return true;
  const size_t name = behind.starts_with('/') || behind.starts_with('!') || behind.starts_with('?');
  return name == behind.size() || BeginsName(behind[name]);
}

// What ends a comment, a section or a declaration; empty for a tag. The text is what follows a "<".
std::string_view EndOfNoTag(std::string_view behind) {
  if (behind.empty() || (behind[0] != '!' && behind[0] != '?')) return {};
  if (behind.starts_with("!--")) return "-->";
  return behind.substr(1).starts_with("[CDATA[") ? "]]>" : ">";
}

// Whether a tag goes on behind a value as it should: with the next attribute, or with its end.
bool GoesOnAsTag(std::string_view behind) {
  const size_t at = SkipBlanks(behind, 0);
  const std::string_view next = behind.substr(at);
  return next.starts_with('>') || next.starts_with("/>") || next.starts_with("?>") ||
         (at > 0 && !next.empty() && BeginsName(next[0]));
}

// The position behind the value whose opening quote is at `quote`; npos where that opens none. If
// no tag can go on behind it, the quote is one too many, and its match belongs to another tag.
size_t FindValueEnd(std::string_view text, size_t quote) {
  if (quote == 0 || text[quote - 1] != '=') return npos;
  const size_t end = text.find(text[quote], quote + 1);
  if (end == npos) return npos;
  const std::string_view value = text.substr(quote + 1, end - quote - 1);
  return value.find('>') == npos || GoesOnAsTag(text.substr(end + 1)) ? end + 1 : npos;
}

// The first '>' that stands in no value.
size_t FindOutsideOfValues(std::string_view text) {
  const size_t first = text.find('>');
  if (first == npos) return npos;
  // Most tags hold no other quotes, and behind one that follows no "=" no value is open.
  const std::string_view before = text.substr(0, first);
  const size_t quote = before.rfind('"');
  if ((quote == npos || quote == 0 || before[quote - 1] != '=') &&
      before.find('\'') == std::string_view::npos)
    return first;
  for (size_t at = 0; (at = text.find_first_of("\"'>", at)) != npos;) {
    if (text[at] == '>') return at;
    const size_t end = FindValueEnd(text, at);
    at = end == npos ? at + 1 : end;
  }
  return npos;
}

// Where the '>' stands that ends a tag; the text is what follows the tag's "<". Between two tags
// there should be no quote. If there is one, a quote too many has ended a value, and the tag ends
// later.
size_t FindTagEnd(std::string_view text) {
  const size_t end = FindOutsideOfValues(text);
  if (end == npos) return npos;
  size_t next = end;
  do next = std::min(text.find('<', next + 1), text.size());
  while (next < text.size() && !BeginsMarkup(text.substr(next + 1)));
  const std::string_view between = text.substr(end + 1, next - end - 1);
  const size_t last = between.rfind('>');
  return last == npos || between.find('"') > last ? end : end + 1 + last;
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
  while (!(stop_ && stop_()) && (at_ = text_.find('<', at_)) < text_.size()) {
    const std::string_view behind = text_.substr(at_ + 1);
    if (!BeginsMarkup(behind)) {
      ++at_;
      continue;
    }
    if (const std::string_view end = EndOfNoTag(behind); !end.empty()) {
      PassOver(end);
      continue;
    }
    const size_t end = FindTagEnd(behind);
    if (end == npos) break;
    ReadTag(behind.substr(0, end), tag);
    return true;
  }
  broken_ = at_ < text_.size();
  at_ = text_.size();
  return false;
}

// What has no end hides nothing, and is looked for no more.
void XMLTagReader::PassOver(std::string_view end) {
  size_t& endless = endless_[end[0] == '-' ? 0 : end[0] == ']' ? 1 : 2];
  const size_t at = endless <= at_ ? npos : text_.find(end, at_);
  if (at == npos) endless = at_;
  at_ = at == npos ? at_ + 1 : at + end.size();
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

std::optional<std::string_view> FindAttribute(std::string_view text, std::string_view name) {
  for (size_t at = text.find(name); at != npos; at = text.find(name, at + 1)) {
    const std::string_view behind = text.substr(at + name.size());
    if (!behind.starts_with("=\"")) continue;
    const size_t end = behind.find('"', 2);
    return end == npos ? std::nullopt : std::optional(behind.substr(2, end - 2));
  }
  return std::nullopt;
}

std::optional<std::string_view> FindOutermostElement(std::string_view text, std::string_view name,
                                                     const XMLStop& stop) {
  std::optional<size_t> begin;
  std::optional<std::string_view> found;
  XMLTagReader reader(text, stop);
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
