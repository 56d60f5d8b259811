// The commands contacts, verify and mail, which share albums by mail.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <utility>

#include "host/account/Find.h"
#include "host/commands/Command.h"
#include "host/names/Names.h"
#include "host/names/ResultText.h"

namespace kelo::host {
namespace {

// Each address by itself, without the separators and blanks between them.
std::vector<std::string> Addresses(const std::vector<std::string>& given) {
  constexpr const char* kBetween = ",; ";
  std::vector<std::string> addresses;
  for (const std::string& text : given)
    for (size_t at = 0; (at = text.find_first_not_of(kBetween, at)) != text.npos;) {
      const size_t end = std::min(text.find_first_of(kBetween, at), text.size());
      addresses.push_back(text.substr(at, end - at));
      at = end;
    }
  if (addresses.empty())
    throw CLI::ValidationError("ADDRESS", "none of the arguments holds an address");
  return addresses;
}

void TellJson(Output& out, const Recipients& lists) {
  for (const auto& [addresses, accepted] :
       {std::pair(&lists.accepted, true), std::pair(&lists.rejected, false)})
    for (const std::string& address : *addresses)
      out.Result("", {{"address", address}, {"accepted", accepted}});
}

void TellRejected(Output& out, const Recipients& lists) {
  if (out.IsJson()) return;
  for (const std::string& address : lists.rejected)
    out.Problem("rejected by the service: " + Shown(address));
}

int Contacts(Host& host, const JsonOption&) {
  host.Out().KeepResults();
  const std::vector<std::string> addresses = host.WithSession().AddressList();
  for (const std::string& address : addresses)
    host.Out().Result(Shown(address), {{"address", address}});
  if (addresses.empty()) host.Out().Note("the address list is empty");
  return 0;
}

struct VerifyOptions {
  std::vector<std::string> addresses;
  bool json = false;
};

int Verify(Host& host, const VerifyOptions& options) {
  Output& out = host.Out();
  out.KeepResults();
  const Recipients lists = host.WithSession().VerifyRecipients(Addresses(options.addresses));
  if (options.json)
    TellJson(out, lists);
  else
    for (const std::string& address : lists.accepted) out.Line("accepted: " + Shown(address));
  TellRejected(out, lists);
  if (lists.rejected.empty()) return 0;
  out.Problem(ResultText(kKELOResult_RecipientsRejected));
  return 1;
}

struct MailOptions {
  std::string album;
  kelo::Mail mail;
  bool json = false;
};

int Mail(Host& host, const MailOptions& options) {
  kelo::Mail mail = options.mail;
  mail.recipients = Addresses(mail.recipients);
  host.LockAccount();
  Library& library = host.Loaded();
  const Item album = FindAlbum(library, options.album);
  const Recipients lists = library.SendMail(album.id, mail);
  if (options.json) TellJson(host.Out(), lists);
  TellRejected(host.Out(), lists);
  if (!lists.rejected.empty())
    host.Out().Problem("sent, but not to everyone: " + ResultText(kKELOResult_RecipientsRejected));
  host.Out().Line(Shown(fmt::format("sent to {}", fmt::join(lists.accepted, ";"))));
  return lists.rejected.empty() ? 0 : 1;
}

void AddMail(CLI::App& app, Action& chosen) {
  const auto [command, options] = AddCommand(app, chosen, "mail", "Share an album by mail", Mail);
  command->add_option("ALBUM", options->album, "Id, name or path of the album")->required();
  command
      ->add_option("--to", options->mail.recipients,
                   "Addresses, separated by commas or given one by one")
      ->required()
      ->type_name("ADDRESS")
      ->allow_extra_args(false);
  command->add_option("--subject", options->mail.subject, "Subject of the mail");
  command->add_option("--text", options->mail.text, "Text of the mail");
  command->add_flag("--remove-gps", options->mail.removeGps,
                    "Take the position out of the pictures");
  command->add_flag("--verify", options->mail.verify,
                    "Let the service check the addresses first and leave out the bad ones");
  command->add_flag("--json", options->json, kJsonHelp);
  command->footer(
      "When some addresses were left out, the mail is sent to the others and the exit code is 1.");
}

}  // namespace

void AddShareCommands(CLI::App& app, Action& chosen) {
  const auto [contacts, listed] =
      AddCommand(app, chosen, "contacts", "Show the account's address list", Contacts);
  contacts->add_flag("--json", listed->json, kJsonHelp);
  const auto [verify, verified] =
      AddCommand(app, chosen, "verify", "Ask the service which mail addresses it accepts", Verify);
  verify->add_option("ADDRESS", verified->addresses, "Mail addresses")->required();
  verify->add_flag("--json", verified->json, kJsonHelp);
  AddMail(app, chosen);
}

}  // namespace kelo::host
