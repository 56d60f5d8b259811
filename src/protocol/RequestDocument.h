// The request side of the protocol: XML documents and their attributes. Free functions without
// state, safe from any thread.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace kelo {

// The two lines that every document begins with. XML 1.1 is what the service expects.
inline constexpr std::string_view kDocumentDeclaration =
    "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\r\n"
    "<?protocol version=\"KELO-API/XML-R/1.0\"?>\r\n";

// A document whose one element is empty: `<method parameters />`. `parameters` is a run of
// attributes as AppendAttribute writes them.
std::string EmptyElementDocument(std::string_view method, std::string_view parameters);

// A document whose one element has content: `<method>` content `</method>`, each tag on its line.
std::string ContentDocument(std::string_view method, std::string_view content);

// Appends ` name="value"`, the value as references, so that nothing in it can end the attribute.
void AppendAttribute(std::string& out, std::string_view name, std::string_view value);
void AppendAttribute(std::string& out, std::string_view name, uint64_t value);
void AppendAttributeUnlessEmpty(std::string& out, std::string_view name, std::string_view value);

// The same for a value that TextAsReferences made.
void AppendConvertedAttribute(std::string& out, std::string_view name, std::string_view references);

// `text` as ASCII with entity and character references. Text that is not valid UTF-8 stays as it is
// but for its markup, so that no text can add an attribute or an element.
std::string TextAsReferences(std::string_view text);

// The texts one behind the other, with the separator between them.
template <typename Texts>
std::string Join(const Texts& texts, std::string_view separator) {
  std::string joined;
  std::string_view before;
  for (const std::string_view text : texts) {
    joined.append(before).append(text);
    before = separator;
  }
  return joined;
}

}  // namespace kelo
