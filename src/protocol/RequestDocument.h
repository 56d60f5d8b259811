// The request side of the protocol: XML documents, their attributes, and the signed query that goes
// with them. Free functions without state, safe from any thread.
#pragma once

#include <cstdint>
#include <optional>
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

// The same for a value that TextAsReferences made.
void AppendConvertedAttribute(std::string& out, std::string_view name, std::string_view references);

// `text` as ASCII with entity and character references. Text that is not valid UTF-8 stays as it is
// but for its markup, so that no text can add an attribute or an element.
std::string TextAsReferences(std::string_view text);

// The call identifier after `last`: the milliseconds of the clock, or one more than `last` where
// the clock stands still, goes back, or shows a time before its reference date.
uint64_t NextCallID(uint64_t last, double secondsSinceReferenceDate);

// "keloSessToken=TOKEN&callId=ID": the query of a document before it is signed.
std::string SessionQuery(std::string_view token, uint64_t callId);

// `query` with its signature appended. What is signed is the secret, "?", the query and, where
// there is a document, a line end and the document. Nothing when the signature cannot be made.
std::optional<std::string> SignedQuery(std::string_view secret, std::string query,
                                       std::string_view document = {});

// The seconds that a request about `size` entries may be silent: a minute for each 5000 begun, at
// most five.
uint32_t DecideTimeoutSetting(uint32_t size);

// The seconds that every other request may be silent.
inline constexpr uint32_t kRequestTimeout = 60;

}  // namespace kelo
