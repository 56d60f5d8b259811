// Writes the answers; ids and URLs are ASCII already, all other texts become references.
#include "devservice/methods/Answers.h"

#include "devservice/protocol/References.h"
#include "devservice/protocol/RequestDocument.h"

namespace kelo::devservice {
namespace {

void AppendRaw(std::string& out, std::string_view name, std::string_view value) {
  out += ' ';
  out += name;
  out += "=\"";
  out += value;
  out += '"';
}

}  // namespace

void AppendAttribute(std::string& out, std::string_view name, std::string_view utf8) {
  AppendRaw(out, name, EncodeReferences(utf8));
}

void AppendAttribute(std::string& out, std::string_view name, std::uint64_t number) {
  AppendRaw(out, name, std::to_string(number));
}

void AppendItemAttributes(std::string& out, const Item& item, const ItemAttributes& wanted,
                          const std::string& downloadUrl) {
  AppendRaw(out, "itemId", item.id);
  if (wanted.name) AppendAttribute(out, "fileName", item.name);
  if (wanted.format) AppendAttribute(out, "fileFormat", item.format);
  if (wanted.shotDate && !item.shotDate.empty()) AppendAttribute(out, "shotDate", item.shotDate);
  if (wanted.uploadDate) AppendAttribute(out, "uploadDate", item.uploadDate);
  if (wanted.modifyDate) AppendAttribute(out, "modifyDate", item.modifyDate);
  if (wanted.screen) AppendRaw(out, "screenUrl", downloadUrl + "/screen/" + item.id);
  if (wanted.original) AppendRaw(out, "origUrl", downloadUrl + "/original/" + item.id);
}

std::string OkAnswer(std::string_view attributes, std::string_view content) {
  std::string out(kDeclarations);
  out.reserve(out.size() + attributes.size() + content.size() + 64);
  out += "<response stat=\"ok\"";
  out += attributes;
  out += ">\r\n";
  out += content;
  return out += "</response>\r\n";
}

std::string FailAnswer(const ServiceError& error) {
  std::string out(kDeclarations);
  out += "<response stat=\"fail\"";
  AppendAttribute(out, "errcode", static_cast<std::uint64_t>(error.Number()));
  AppendAttribute(out, "errmsg", std::string_view(error.what()));
  return out += " />\r\n";
}

}  // namespace kelo::devservice
