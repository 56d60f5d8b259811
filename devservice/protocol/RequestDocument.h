// The strict reading of a request document: exactly the two declaration lines, then one element in
// the exact layout that the protocol prescribes. Anything else, a missing blank included, is
// refused, so that a client that passes here writes its documents byte for byte as it should.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kelo::devservice {

// The first lines of every document, of requests and of answers. They say XML 1.1 on purpose.
inline constexpr std::string_view kDeclarations =
    "<?xml version=\"1.1\" encoding=\"UTF-8\"?>\r\n"
    "<?protocol version=\"KELO-API/XML-R/1.0\"?>\r\n";

struct Attribute {
  std::string name;
  std::string raw;    // between the quotes, as sent
  std::string value;  // references resolved
};

struct Element {
  std::string name;
  std::vector<Attribute> attributes;
  std::vector<Element> children;
  bool selfClosing = false;

  const Attribute* Find(std::string_view attribute) const;
  // The resolved value; empty when absent.
  std::string_view Value(std::string_view attribute) const;
  bool Has(std::string_view attribute) const { return Find(attribute) != nullptr; }
};

// The method element; on refusal nothing, and `reason` says what is wrong and where.
std::optional<Element> ReadRequestDocument(std::string_view document, std::string& reason);

// A text in quotes as messages have it: its line ends can be seen.
std::string Quoted(std::string_view text);

// The method's name, without any further check; empty when there is none.
std::string MethodOfDocument(std::string_view document);

}  // namespace kelo::devservice
