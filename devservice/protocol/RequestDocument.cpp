// A recursive reader that goes on only where the next bytes are exactly those it expects.
#include "devservice/protocol/RequestDocument.h"

#include <algorithm>
#include <cctype>

#include "devservice/protocol/References.h"

namespace kelo::devservice {
namespace {

constexpr std::string_view kLineEnd = "\r\n";
constexpr int kMaxDepth = 3;

// The one value that is no text: the root album's id, which is no UTF-8 and travels as it is.
bool IsRootAlbumId(std::string_view name, std::string_view raw) {
  return (name == "albumId" || name == "folderId") && !raw.empty() &&
         std::ranges::all_of(
             raw, [](char c) { return c == static_cast<char>(0xF8); });
}

// This method's closing tag ends the document without a line end, deliberately.
constexpr std::string_view kMethodWithoutLineEnd = "ModifyProps";

struct Refusal {
  std::string reason;
};

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  Element ReadDocument() {
    Expect(kDeclarations);
    Element method = ReadElement(0);
    if (method.name != kMethodWithoutLineEnd || method.selfClosing) Expect(kLineEnd);
    if (position_ != text_.size()) Refuse("bytes after the end");
    return method;
  }

 private:
  Element ReadElement(int depth) {
    if (depth > kMaxDepth) Refuse("elements nested too deeply");
    Element element;
    Expect("<");
    element.name = ReadName();
    while (At(" ") && !At(" />")) element.attributes.push_back(ReadAttribute(element));
    if (At(" />")) {
      Expect(" />");
      element.selfClosing = true;
      return element;
    }
    Expect(">");
    Expect(kLineEnd);
    while (!At("</")) {
      element.children.push_back(ReadElement(depth + 1));
      Expect(kLineEnd);
    }
    Expect("</");
    Expect(element.name);
    Expect(">");
    return element;
  }

  Attribute ReadAttribute(const Element& element) {
    Expect(" ");
    Attribute attribute;
    attribute.name = ReadName();
    if (element.Has(attribute.name)) Refuse("attribute " + attribute.name + " occurs twice");
    Expect("=\"");
    const size_t end = text_.find('"', position_);
    if (end == std::string_view::npos) Refuse("value without an end");
    attribute.raw = text_.substr(position_, end - position_);
    position_ = end + 1;
    if (IsRootAlbumId(attribute.name, attribute.raw)) {
      attribute.value = attribute.raw;
      return attribute;
    }
    auto decoded = DecodeReferences(attribute.raw);
    if (!decoded || attribute.raw.find('<') != std::string::npos)
      Refuse("malformed value of " + attribute.name);
    attribute.value = std::move(*decoded);
    return attribute;
  }

  std::string ReadName() {
    const size_t start = position_;
    while (position_ < text_.size() && (std::isalnum(static_cast<unsigned char>(text_[position_]))))
      ++position_;
    if (position_ == start) Refuse("name expected");
    return std::string(text_.substr(start, position_ - start));
  }

  bool At(std::string_view token) const { return text_.substr(position_).starts_with(token); }

  void Expect(std::string_view token) {
    if (!At(token)) Refuse("expected " + Quoted(token));
    position_ += token.size();
  }

  [[noreturn]] void Refuse(const std::string& what) const {
    throw Refusal{what + " at byte " + std::to_string(position_)};
  }

  std::string_view text_;
  size_t position_ = 0;
};

}  // namespace

const Attribute* Element::Find(std::string_view attribute) const {
  const auto found = std::ranges::find(attributes, attribute, &Attribute::name);
  return found == attributes.end() ? nullptr : &*found;
}

std::string_view Element::Value(std::string_view attribute) const {
  const Attribute* found = Find(attribute);
  return found ? std::string_view(found->value) : std::string_view();
}

std::optional<Element> ReadRequestDocument(std::string_view document, std::string& reason) {
  try {
    return Reader(document).ReadDocument();
  } catch (const Refusal& refusal) {
    reason = refusal.reason;
    return std::nullopt;
  }
}

std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text)
    if (c == '\r')
      quoted += "\\r";
    else if (c == '\n')
      quoted += "\\n";
    else
      quoted += c;
  return quoted + "\"";
}

std::string MethodOfDocument(std::string_view document) {
  const size_t start = document.find(kDeclarations);
  if (start == std::string_view::npos) return {};
  document.remove_prefix(start + kDeclarations.size());
  if (!document.starts_with('<')) return {};
  document.remove_prefix(1);
  return std::string(document.substr(0, document.find_first_of(" />\r")));
}

}  // namespace kelo::devservice
