// The panel of the outbox: lists the mails that were sent when albums were shared.
const kPicturesOfMail = 60;

const positions = (mail) => (mail.gpsRemoved ? "positions removed" : "positions kept");

const outbox = {
  start() {
    this.list = new WindowedList($("outbox"), {
      rowHeight: 48,
      draw: (mail) => make("div", { role: "option" },
        make("span", { className: "words" },
          make("span", { className: "name", textContent: mail.subject || "(no subject)" }),
          make("span", { className: "quiet", textContent: mail.recipients.join(", ") })),
        make("span", { className: "quiet end", textContent: positions(mail) })),
      keyOf: (mail) => mail.number,
      open: (mail) => this.open(mail),
    });
  },

  set(mails) {
    $("no-mail").hidden = mails.length > 0;
    $("tab-outbox").textContent = mails.length > 0 ? `Outbox (${mails.length})` : "Outbox";
    this.list.setRows(mails.map((mail, number) => ({ ...mail, number })));
  },

  open(mail) {
    const album = account.albums.get(mail.albumId);
    const ids = album ? album.items : [];
    const pictures = make("p", { className: "bar" },
      ...ids.slice(0, kPicturesOfMail).map((id) => {
        const item = account.items.get(id);
        return make("span", { title: item.name }, thumbnails.show(item));
      }));
    if (ids.length > kPicturesOfMail)
      pictures.append(`and ${ids.length - kPicturesOfMail} more`);
    openWindow(mail.subject || "(no subject)", [
      fields([
        ["To", mail.recipients.join(", ")],
        ["Album", album ? album.name : mail.albumId],
        ["Pictures", ids.length],
        ["Positions", mail.gpsRemoved ? "removed from the pictures" : "left in the pictures"],
      ]),
      ...section("Text", mail.body, "None."),
      pictures,
    ]);
  },
};
