// Writes the XML documents of requests, with every value as references.
#include "protocol/RequestDocument.h"

#include "text/XMLUtility.h"

namespace kelo {

std::string EmptyElementDocument(std::string_view method, std::string_view parameters) {
  std::string document(kDocumentDeclaration);
  document.append("<").append(method).append(parameters).append(" />\r\n");
  return document;
}

std::string ContentDocument(std::string_view method, std::string_view content) {
  std::string document(kDocumentDeclaration);
  document.append("<").append(method).append(">\r\n");
  document.append(content);
  document.append("</").append(method).append(">\r\n");
  return document;
}

void AppendAttribute(std::string& out, std::string_view name, std::string_view value) {
  AppendConvertedAttribute(out, name, TextAsReferences(value));
}

void AppendAttribute(std::string& out, std::string_view name, uint64_t value) {
  AppendConvertedAttribute(out, name, std::to_string(value));
}

void AppendConvertedAttribute(std::string& out, std::string_view name,
                              std::string_view references) {
  out.append(" ").append(name).append("=\"").append(references).append("\"");
}

void AppendAttributeUnlessEmpty(std::string& out, std::string_view name, std::string_view value) {
  if (!value.empty()) AppendAttribute(out, name, value);
}

std::string TextAsReferences(std::string_view text) {
  const XMLUtility xml;
  std::string references;
  if (xml.ConvertStringUTF8ToReference(text, references) == 0)
    xml.ConvertStringUTF8ToEntityReference(text, references);
  return references;
}

}  // namespace kelo
