// contacts, verify, mail.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>

#include "Host.h"
#include "Names.h"
#include "Records.h"
#include "ResultText.h"

namespace kelo::host {
namespace {

// The pieces of a list that the service separates by ";" (or a person by ","), without blanks
// around.
std::vector<std::string> Split(std::string_view list) {
  std::vector<std::string> pieces;
  while (!list.empty()) {
    const std::size_t end = std::min(list.find_first_of(";,"), list.size());
    std::string_view piece = list.substr(0, end);
    while (piece.starts_with(' ')) piece.remove_prefix(1);
    while (piece.ends_with(' ')) piece.remove_suffix(1);
    if (!piece.empty()) pieces.emplace_back(piece);
    list.remove_prefix(std::min(end + 1, list.size()));
  }
  return pieces;
}

std::string Joined(const std::vector<std::string>& addresses) {
  std::string list;
  for (const std::string& argument : addresses)
    for (const std::string& address : Split(argument)) list += (list.empty() ? "" : ";") + address;
  if (list.empty()) throw CLI::ValidationError("addresses", "there is no address among them");
  return list;
}

void TellRejected(Output& out, const RecipientLists& lists) {
  for (const std::string& address : Split(lists.rejected))
    out.Problem("rejected by the service: " + Shown(address));
}

int Contacts(Host& host, bool json) {
  if (json) host.Out().UseJson();
  // Resolved first: the ";" of a reference separates nothing.
  const auto addresses = Split(Resolved(host.WithSession().AddressList()));
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
  if (options.json) out.UseJson();
  RecipientLists lists;
  const std::uint32_t result = host.WithSession().Verify(Joined(options.addresses), lists);
  const auto json = [](const std::string& address, bool accepted) {
    return Json{{"address", Resolved(address)}, {"accepted", accepted}};
  };
  for (const std::string& address : Split(lists.accepted))
    out.Result("accepted: " + Shown(address), json(address, true));
  if (!options.json)
    TellRejected(out, lists);
  else
    for (const std::string& address : Split(lists.rejected)) out.Result("", json(address, false));
  if (result == 0) return 0;
  out.Problem(ResultText(result));
  return 1;
}

struct MailOptions {
  std::string album;
  std::vector<std::string> to;
  PictureMail mail;
};

int Mail(Host& host, const MailOptions& options) {
  PictureMail mail = options.mail;
  mail.recipients = Joined(options.to);
  Library& library = host.Loaded();
  const tagKELO_ItemInfo album = FindAlbum(library, options.album);
  RecipientLists lists;
  const std::uint32_t status = library.Mail(FieldText(album.itemId), mail, lists);
  if (status == 0) {
    host.Out().Line("sent to " + Shown(mail.recipients));
    return 0;
  }
  TellRejected(host.Out(), lists);
  const std::string went = lists.accepted.empty() ? "nobody" : Shown(lists.accepted);
  host.Out().Problem("sent, but not to everyone: " + ResultText(status));
  host.Out().Line("sent to " + went);
  return 1;
}

void AddMail(CLI::App& app, Action& chosen) {
  CLI::App* command = app.add_subcommand("mail", "Share an album by mail");
  const auto options = std::make_shared<MailOptions>();
  command->add_option("ALBUM", options->album, "Id or name of the album")->required();
  command->add_option("--to", options->to, "Addresses, separated by commas or given one by one")
      ->required()
      ->type_name("ADDRESS")
      ->allow_extra_args(false);
  command->add_option("--subject", options->mail.subject, "Subject of the mail");
  command->add_option("--text", options->mail.text, "Text of the mail");
  command->add_flag("--remove-gps", options->mail.removeGps,
                    "Take the position out of the pictures");
  command->add_flag("--verify", options->mail.verify,
                    "Let the service check the addresses first and leave out the bad ones");
  command->footer(
      "When some addresses were left out, the mail is sent to the others and the exit code is 1.");
  command->callback(
      [options, &chosen] { chosen = [options](Host& host) { return Mail(host, *options); }; });
}

}  // namespace

void AddShareCommands(CLI::App& app, Action& chosen) {
  CLI::App* contacts = app.add_subcommand("contacts", "Show the account's address list");
  const auto json = std::make_shared<bool>(false);
  contacts->add_flag("--json", *json, kJsonHelp);
  contacts->callback(
      [json, &chosen] { chosen = [json](Host& host) { return Contacts(host, *json); }; });
  CLI::App* verify =
      app.add_subcommand("verify", "Ask the service which mail addresses it accepts");
  const auto options = std::make_shared<VerifyOptions>();
  verify->add_option("ADDRESS", options->addresses, "Mail addresses")->required();
  verify->add_flag("--json", options->json, kJsonHelp);
  verify->callback(
      [options, &chosen] { chosen = [options](Host& host) { return Verify(host, *options); }; });
  AddMail(app, chosen);
}

}  // namespace kelo::host
