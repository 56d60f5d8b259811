// The part of the store for shared albums, known addresses and the mails.
#include "devservice/store/Store.h"

namespace kelo::devservice {

void Store::Share(AccountId account, const Mail& mail) {
  database_.Execute("INSERT INTO mails(album, subject, body, gpsRemoved) VALUES(?, ?, ?, ?)",
                    mail.albumId, mail.subject, mail.body, mail.gpsRemoved ? 1 : 0);
  const std::int64_t id = database_.Count("SELECT MAX(id) FROM mails");
  for (const std::string& recipient : mail.recipients) {
    database_.Execute("INSERT INTO mailRecipients(mail, address) VALUES(?, ?)", id, recipient);
    AddContact(account, recipient);
    Statement reader = database_.Query("SELECT id FROM accounts WHERE address = ? AND id <> ?",
                                       recipient, account);
    if (reader.Step()) ShareWith(account, mail.albumId, reader.Number(0));
  }
  database_.Execute("UPDATE albums SET shared = 1 WHERE id = ?", mail.albumId);
}

void Store::ShareWith(AccountId owner, std::string_view album, AccountId reader) {
  database_.Execute("INSERT OR IGNORE INTO shares VALUES(?, ?)", album, reader);
  database_.Execute("UPDATE albums SET shared = 1 WHERE id = ? AND account = ?", album, owner);
}

void Store::AddContact(AccountId account, std::string_view address) {
  database_.Execute("INSERT OR IGNORE INTO contacts(account, address) VALUES(?, ?)", account,
                    address);
}

std::vector<std::string> Store::Contacts(AccountId account) {
  return database_.Texts("SELECT address FROM contacts WHERE account = ? ORDER BY position",
                         account);
}

std::vector<Mail> Store::Outbox() {
  const auto read = [this](const Statement& row) {
    auto recipients = database_.Texts(
        "SELECT address FROM mailRecipients WHERE mail = ? ORDER BY position", row.Number(0));
    return Mail{row.Text(1), std::move(recipients), row.Text(2), row.Text(3), row.Number(4) != 0};
  };
  return database_.All(read, "SELECT id, album, subject, body, gpsRemoved FROM mails ORDER BY id");
}

std::string DescribeMail(const Mail& mail) {
  std::string text = "To: ";
  for (const std::string& recipient : mail.recipients)
    text += (&recipient == &mail.recipients.front() ? "" : ", ") + recipient;
  text += "\nAlbum: " + mail.albumId + "\nGPS removed: " + (mail.gpsRemoved ? "yes" : "no");
  return text + "\nSubject: " + mail.subject + "\n\n" + mail.body + "\n";
}

}  // namespace kelo::devservice
