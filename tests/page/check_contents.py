"""What the page shows: account, requests, outbox and faults."""
import json

from page_base import PageChecks, has_text, must, texts


class Contents(PageChecks):
    def check_account(self):
        account = self.service.account()
        names = [item["name"] for item in account["items"]]
        names += [album["name"] for album in account["albums"] if album["name"]]
        names += [folder["name"] for folder in account["folders"]]
        names += [album["name"] for album in account["friendAlbums"]]
        must(len(names) > 10, f"the samples have become few: {names}")
        for name in names:
            self.page.wait(has_text("#account .name", name))
        self.page.wait(has_text("#account", "shared by friend@home.example"))
        self.page.wait(has_text("#storage-text", f"{len(account['items']) - 2} items"))
        self.page.wait("document.querySelectorAll('canvas[data-painted=true]').length >= 5")

    def check_other_account(self):
        choice = "document.getElementById('address')"
        self.page.wait(f"{choice}.options.length === 3")
        first, other = self.page.value(f"[{choice}.options[0].value, {choice}.options[1].value]")
        self.choose("address", other)
        self.page.wait(has_text("#account", "shared with me@home.example"))
        self.choose("address", first)
        self.page.wait(has_text("#account", "shared by friend@home.example"))

    def check_changes(self):
        self.kelo("caption", "dawn.jpg", "Low tide")
        self.kelo("rate", "dawn.jpg", "4")
        self.kelo("tag", "dawn.jpg", "sea,morning")
        for selector, text in [(".quiet", "Low tide"), (".stars", "★★★★☆"), (".tag", "morning")]:
            self.page.wait(has_text(f"#account {selector}", text))

    def check_picture(self):
        shown = self.open_row("#account", "dawn.jpg")
        must("Low tide" in shown and "image/jpeg" in shown, shown)
        self.page.wait("document.querySelector('#window img').naturalWidth > 100")
        self.close_window()

    def check_live_request(self):
        self.kelo("quota")
        self.page.wait(has_text("#requests .row", "GetStorageCapacity"))
        must(self.page.value("document.getElementById('status').textContent") == "Live", "not live")

    def check_opened_request(self):
        shown = self.open_row("#requests", "GetStorageCapacity")
        for part in ["<GetStorageCapacity />", "Signature\nok", 'stat="ok"', "Took"]:
            must(part in shown, f"{part} is not in: {shown}")
        self.page.value("[...document.querySelectorAll('#window button')]"
                        ".find((b) => b.textContent === 'Copy as text').click()")
        self.page.wait(has_text("#said", "copied"))
        copied = self.page.value("navigator.clipboard.readText()")
        must("<GetStorageCapacity />" in copied and "Signature: ok" in copied, copied)
        self.close_window()

    def check_wrong_signature(self):
        self.kelo("login", "--secret", "wrong secret", status=1)
        shown = self.open_row("#requests", "error 103")
        must("OpenSession" in shown and "SHA-1" in shown, shown)
        self.close_window()

    def check_filter(self):
        count = "document.querySelectorAll('#requests .row').length"
        total = self.page.value(count)
        self.choose("method", "AddTags")
        must(self.page.wait(texts("#requests .row")) != [] and self.page.value(count) == 1,
             "one AddTags was sent")
        self.choose("method", "")
        self.page.click("#failures")
        failures = self.page.value(texts("#requests .row"))
        must(len(failures) == 1 and "OpenSession" in failures[0], str(failures))
        self.page.click("#copy-list")
        self.page.wait("navigator.clipboard.readText().then((t) => t.includes('error 103'))")
        self.page.click("#failures")
        must(self.page.value(count) == total, "all are back")

    def check_outbox(self):
        mail = ["mail", "Garden", "--to", "anna@friends.example", "--text", "Look at these"]
        self.kelo(*mail, "--subject", "Roses", "--remove-gps")
        self.kelo(*mail, "--subject", "Tulips")
        self.page.click("#tab-outbox")
        self.page.wait(has_text("#outbox .row", "positions kept"))
        shown = self.open_row("#outbox", "Roses")
        for part in ["anna@friends.example", "Garden", "Look at these",
                     "removed from the pictures"]:
            must(part in shown, f"{part} is not in: {shown}")
        album = next(a for a in self.service.account()["albums"] if a["name"] == "Garden")
        self.page.wait("document.querySelectorAll('#window canvas[data-painted=true]').length"
                       f" === {len(album['items'])}")
        self.close_window()
        self.page.click("#tab-account")
        self.page.wait(has_text("#account .row", "shared with anna@friends.example"))

    def choose(self, field, value):
        self.page.value("((field) => { field.value = %s; field.dispatchEvent(new Event('change')); })"
                        "(document.getElementById(%s))" % (json.dumps(value), json.dumps(field)))

    def switch_on(self, method, kind, value=None, times=""):
        for field, text in [("method", method), ("kind", kind), ("value", value), ("times", times)]:
            if text is not None:
                self.choose(f"fault-{field}", str(text))
        self.page.click("#fault-form button")

    def check_fault(self):
        self.page.click("#tab-faults")
        self.switch_on("GetAddressList", "status", "500", times=2)
        self.page.wait(has_text("#faults li", "GetAddressList:status=500,times=2"))
        self.kelo("contacts", status=1)
        self.page.wait(has_text("#faults li", "fired 1 of 2 times"))
        self.page.wait(has_text("#fires .row .fault", "status=500,times=2"))
        self.page.wait(has_text("#requests .row .fault", "500, fault status=500"))
        self.page.click("#faults button")
        self.page.wait("document.querySelectorAll('#faults li').length === 0")
        self.kelo("contacts")

    def check_fault_kinds(self):
        options = "[...document.getElementById('%s').options].map((o) => o.value)"
        kinds = self.page.value(options % "fault-kind")
        methods = self.page.value(options % "fault-method")
        for kind in kinds:
            self.switch_on("*", kind)
            self.page.wait(has_text("#faults li", f"*:{kind}"))
        for method in methods:
            self.switch_on(method, "expire")
            self.page.wait(has_text("#faults li", f"{method}:expire"))
        self.switch_on("*", "status", "seven")
        self.page.wait("document.getElementById('fault-error').textContent")
        self.service.ask("DELETE", "/control/faults")
        self.page.wait("document.querySelectorAll('#faults li').length === 0")
        self.page.click("#tab-account")
