// The methods that check recipients, list known addresses and share albums by mail.
#include <algorithm>

#include "devservice/methods/Answers.h"
#include "devservice/methods/Api.h"
#include "devservice/protocol/ServiceError.h"
#include "devservice/protocol/Values.h"

namespace kelo::devservice {
namespace {

constexpr std::string_view kScheme = "mailto:";

std::string_view Trimmed(std::string_view text) {
  while (text.starts_with(' ')) text.remove_prefix(1);
  while (text.ends_with(' ')) text.remove_suffix(1);
  return text;
}

// The address alone of «Name <address>».
std::string_view AddressOf(std::string_view entry) {
  entry = Trimmed(entry);
  const size_t open = entry.rfind('<');
  if (open != std::string_view::npos && entry.ends_with('>'))
    return entry.substr(open + 1, entry.size() - open - 2);
  return entry;
}

bool LooksLikeAddress(std::string_view address) {
  const size_t at = address.find('@');
  return at != std::string_view::npos && at > 0 && at + 1 < address.size() &&
         at == address.rfind('@') &&
         std::ranges::none_of(address, [](char c) { return c <= ' ' || c == '<' || c == '>'; });
}

// The addresses of a list; the first bad one is refused by name. Empty pieces are passed over.
std::vector<std::string> ReadRecipients(std::string_view list) {
  if (list.starts_with(kScheme)) list.remove_prefix(kScheme.size());
  std::vector<std::string> addresses;
  for (const std::string_view piece : PiecesOf(list, ';')) {
    const std::string_view address = AddressOf(piece);
    if (address.empty()) continue;
    if (!LooksLikeAddress(address)) {
      throw ServiceError(ErrorNumber::kInvalidRecipient,
                         "Verification failed. Invalid recipient: " + std::string(address));
    }
    addresses.emplace_back(address);
  }
  return addresses;
}

}  // namespace

std::string Api::VerifyRecipients(const Request& request) {
  ReadRecipients(request.method.Value("recipientList"));
  return OkAnswer();
}

std::string Api::GetAddressList(const Request& request) {
  std::string list;
  for (const std::string& address : store_.Contacts(request.account))
    list += (list.empty() ? "" : ";") + address;
  std::string attributes;
  AppendAttribute(attributes, "addressList", list);
  return OkAnswer(attributes);
}

std::string Api::ShareAlbum(const Request& request) {
  const Element& method = request.method;
  const std::string_view gps = method.Value("removeGPSInfo");
  if (!method.Value("recipientList").starts_with(kScheme) || (gps != "true" && gps != "false"))
    throw ServiceError(ErrorNumber::kUnusableValue, "Unusable recipientList or removeGPSInfo");
  Mail mail;
  mail.albumId = store_.RequireAlbum(request.account, method.Value("albumId"));
  mail.recipients = ReadRecipients(method.Value("recipientList"));
  if (mail.recipients.empty()) throw ServiceError(ErrorNumber::kOutOfRange, "No recipient");
  mail.subject = method.Value("subjectText");
  mail.body = method.Value("bodyText");
  mail.gpsRemoved = gps == "true";
  store_.Share(request.account, mail);
  return OkAnswer();
}

}  // namespace kelo::devservice
