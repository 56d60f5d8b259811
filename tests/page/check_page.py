#!/usr/bin/env python3
"""Looks at the service's page in a real browser: check_page.py SERVICE SAMPLES

One line for each check, 'ok NAME' or 'failed NAME' with what was found above it.
"""
import json
import re
import sys
import tempfile

from browser import Browser, Failure
from scale import check_scale
from service import Client, Service

MARKUP = '"><img src=x onerror="window.ran=1"><script>window.ran=1</script>'
ESCAPED = (MARKUP.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")
           .replace('"', "&quot;"))


def texts(selector):
    return f"[...document.querySelectorAll({json.dumps(selector)})].map((e) => e.textContent)"


def has_text(selector, text):
    return f"{texts(selector)}.some((t) => t.includes({json.dumps(text)}))"


def row_with(selector, text):
    return (f"[...document.querySelectorAll({json.dumps(selector + ' .row')})]"
            f".find((e) => e.textContent.includes({json.dumps(text)}))")


def must(condition, what):
    if not condition:
        raise Failure(what)


class Checks:
    """Each method check_NAME is a check; they follow one another on one page."""

    def __init__(self, program, samples, browser):
        self.program = program
        self.browser = browser
        self.service = Service(program, "--import", f"{samples}/mine",
                               "--friend", f"{samples}/friend/Anna's birthday")
        self.client = Client(self.service)
        browser.call("Browser.grantPermissions", origin=self.service.url,
                     permissions=["clipboardReadWrite", "clipboardSanitizedWrite"])
        self.page = browser.open(self.service.page)

    def open_row(self, box, text):
        self.page.wait(f"{row_with(box, text)}?.click() ?? {row_with(box, text)}")
        return self.page.wait("document.getElementById('window').open &&"
                              " document.getElementById('window').innerText")

    def close_window(self):
        self.page.key("Escape")
        self.page.wait("!document.getElementById('window').open")

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

    def check_changes(self):
        item = next(i for i in self.service.account()["items"] if i["name"] == "dawn.jpg")
        self.client.call(f'<ModifyProps itemIdList="{item["id"]}">\r\n'
                         '<property name="caption" value="Low tide" />\r\n'
                         '<property name="rating" value="4" />\r\n</ModifyProps>')
        self.client.call(f'<AddTags itemIdList="{item["id"]}" tagList="sea,morning" />')
        for selector, text in [(".quiet", "Low tide"), (".stars", "★★★★☆"), (".tag", "morning")]:
            self.page.wait(has_text(f"#account {selector}", text))

    def check_picture(self):
        shown = self.open_row("#account", "dawn.jpg")
        must("Low tide" in shown and "image/jpeg" in shown, shown)
        self.page.wait("document.querySelector('#window img').naturalWidth > 100")
        self.close_window()

    def check_live_request(self):
        self.client.call("<GetStorageCapacity />")
        self.page.wait(has_text("#requests .row", "GetStorageCapacity"))
        must(self.page.value("document.getElementById('status').textContent") == "Live", "not live")

    def check_opened_request(self):
        shown = self.open_row("#requests", "GetStorageCapacity")
        for part in ["<GetStorageCapacity />", "Signature\nok", 'stat="ok"', "Took"]:
            must(part in shown, f"{part} is not in: {shown}")
        must(self.client.session not in shown, "a session token is shown")
        self.page.value("[...document.querySelectorAll('#window button')]"
                        ".find((b) => b.textContent === 'Copy as text').click()")
        self.page.wait(has_text("#said", "copied"))
        copied = self.page.value("navigator.clipboard.readText()")
        must("<GetStorageCapacity />" in copied and "Signature: ok" in copied, copied)
        self.close_window()

    def check_wrong_signature(self):
        self.client.call("<GetAddressList />", secret="wrong")
        shown = self.open_row("#requests", "GetAddressList")
        must("error 103" in shown and "SHA-1" in shown, shown)
        self.close_window()

    def check_filter(self):
        count = "document.querySelectorAll('#requests .row').length"
        total = self.page.value(count)
        self.page.value("(() => { const m = document.getElementById('method');"
                        " m.value = 'AddTags'; m.dispatchEvent(new Event('change')); })()")
        must(self.page.wait(texts("#requests .row")) != [] and self.page.value(count) == 1,
             "one AddTags was sent")
        self.page.value("(() => { const m = document.getElementById('method');"
                        " m.value = ''; m.dispatchEvent(new Event('change')); })()")
        self.page.click("#failures")
        failures = self.page.value(texts("#requests .row"))
        must(len(failures) == 1 and "GetAddressList" in failures[0], str(failures))
        self.page.click("#copy-list")
        self.page.wait("navigator.clipboard.readText().then((t) => t.includes('error 103'))")
        self.page.click("#failures")
        must(self.page.value(count) == total, "all are back")

    def check_outbox(self):
        album = next(a for a in self.service.account()["albums"] if a["name"] == "Garden")
        for removed, subject in [("true", "Roses"), ("false", "Tulips")]:
            status, answer = self.client.call(
                f'<ShareAlbum albumId="{album["id"]}" recipientList="mailto:anna@friends.example"'
                f' subjectText="{subject}" bodyText="Look at these" removeGPSInfo="{removed}" />')
            must('stat="ok"' in answer, answer)
        self.page.click("#tab-outbox")
        self.page.wait(has_text("#outbox .row", "positions kept"))
        shown = self.open_row("#outbox", "Roses")
        for part in ["anna@friends.example", "Garden", "Look at these", "removed from the pictures"]:
            must(part in shown, f"{part} is not in: {shown}")
        self.page.wait("document.querySelectorAll('#window canvas[data-painted=true]').length"
                       f" === {len(album['items'])}")
        self.close_window()
        self.page.click("#tab-account")
        self.page.wait(has_text("#account .row", "shared with anna@friends.example"))

    def switch_on(self, method, kind, value=None, times=""):
        self.page.value("""(() => {
          const set = (id, value) => { document.getElementById(id).value = value; };
          set("fault-method", %s);
          set("fault-kind", %s);
          document.getElementById("fault-kind").dispatchEvent(new Event("change"));
          if (%s !== null) set("fault-value", %s);
          set("fault-times", %s);
          document.querySelector("#fault-form button").click();
        })()""" % tuple(json.dumps(v) for v in (method, kind, value, value, str(times))))

    def check_fault(self):
        self.page.click("#tab-faults")
        self.switch_on("GetAddressList", "status", "503", times=2)
        self.page.wait(has_text("#faults li", "GetAddressList:status=503,times=2"))
        status, _ = self.client.call("<GetAddressList />")
        must(status == 503, f"answered {status}")
        self.page.wait(has_text("#faults li", "fired 1 time"))
        self.page.wait(has_text("#fires .row", "fault GetAddressList:status=503"))
        self.page.wait(has_text("#requests .row .fault", "GetAddressList:status=503"))
        self.page.click("#faults button")
        self.page.wait("document.querySelectorAll('#faults li').length === 0")
        status, _ = self.client.call("<GetAddressList />")
        must(status == 200, f"still answered {status}")

    def check_fault_kinds(self):
        kinds = self.page.value("[...document.getElementById('fault-kind').options].map((o) => o.value)")
        methods = self.page.value(
            "[...document.getElementById('fault-method').options].map((o) => o.value)")
        for kind in kinds:
            self.switch_on("*", kind)
            self.page.wait(has_text("#faults li", f"*:{kind}"))
        for method in methods:
            self.switch_on(method, "expire")
            self.page.wait(has_text("#faults li", f"{method}:expire"))
        self.switch_on("*", "status", "seven")
        self.page.wait("document.getElementById('fault-error').textContent")
        self.service.control("DELETE", "/control/faults")
        self.page.wait("document.querySelectorAll('#faults li').length === 0")
        self.page.click("#tab-account")

    def check_keyboard(self):
        """From the top of the page with keys alone, into each list and back."""
        self.page.value("document.activeElement.blur()")
        seen = []
        for _ in range(20):
            self.page.key("Tab")
            seen.append(self.page.value("document.activeElement.id"))
        order = ["reset", "method", "failures", "copy-list", "requests", "tab-account", "unfold",
                 "fold", "account"]
        must([name for name in seen if name in order][:len(order)] == order, str(seen))
        unlabelled = self.page.value("""[...document.querySelectorAll(
          "button, select, input, [tabindex='0']")].filter((e) => !e.textContent.trim() &&
          !e.labels?.length && !e.ariaLabel && !e.hasAttribute("aria-labelledby")).map((e) => e.id)""")
        must(unlabelled == [], f"without a label: {unlabelled}")
        self.page.value("document.getElementById('requests').focus()")
        self.page.key("Home")
        self.page.key("ArrowDown")
        selected = "document.querySelector('#requests [aria-selected=true]')"
        must(self.page.wait(f"{selected}.ariaPosInSet") == "2", "the second request is selected")
        self.page.key("Enter")
        self.page.wait("document.getElementById('window').open")
        self.close_window()
        self.page.wait("document.activeElement.id === 'requests'")
        self.page.value("document.getElementById('account').focus()")
        self.page.key("Home")
        before = self.page.value("document.querySelectorAll('#account .row').length")
        self.page.key("ArrowLeft")
        self.page.wait(f"document.querySelectorAll('#account .row').length < {before}")
        self.page.key("ArrowRight")
        self.page.wait(f"document.querySelectorAll('#account .row').length === {before}")
        self.page.value("document.getElementById('tab-account').focus()")
        self.page.key("ArrowRight")
        self.page.wait("!document.getElementById('panel-outbox').hidden")
        self.page.key("ArrowLeft")

    def check_contrast(self):
        self.page.value("document.getElementById('failures').checked ||"
                        " document.getElementById('failures').click()")
        grounds = []
        for scheme in ["light", "dark"]:
            self.page.call("Emulation.setEmulatedMedia",
                           features=[{"name": "prefers-color-scheme", "value": scheme}])
            self.page.wait(f"matchMedia('(prefers-color-scheme: {scheme})').matches")
            colours = self.page.value("""(() => {
              const ground = (e) => {
                const colour = getComputedStyle(e).backgroundColor;
                return colour === "rgba(0, 0, 0, 0)" && e.parentElement ? ground(e.parentElement)
                  : colour;
              };
              return ["body", "header", ".quiet", ".bad", ".fault", "#requests .row", ".stars", ".tag",
                "button", "select", "[role=tab][aria-selected=true]"].map((name) => {
                  const e = document.querySelector(name);
                  return [name, getComputedStyle(e).color, ground(e)];
                });
            })()""")
            grounds.append(colours[0][2])
            for name, text, ground in colours:
                ratio = contrast(text, ground)
                must(ratio >= 4.5, f"{name} in {scheme}: {text} on {ground} is {ratio:.2f}")
        must(grounds[0] != grounds[1], "dark looks like light")
        self.page.call("Emulation.setEmulatedMedia", features=[])
        self.page.click("#failures")

    def check_markup(self):
        """Wherever a name from outside is shown, it is shown as it is."""
        _, answer = self.client.call(f'<AddAlbum folderId="" albumName="{ESCAPED}" />')
        album = re.search('albumId="([^"]+)"', answer).group(1)
        item = next(i for i in self.service.account()["items"] if i["name"] == "dawn.jpg")["id"]
        for element in [
                f'<AddFolder folderName="{ESCAPED}" />',
                f'<AddItemsToAlbum albumId="{album}" itemIdList="{item}" />',
                f'<ModifyProps itemIdList="{item}">\r\n<property name="caption" value="{ESCAPED}" />'
                '\r\n</ModifyProps>',
                f'<AddTags itemIdList="{item}" tagList="{ESCAPED}" />',
                f'<ShareAlbum albumId="{album}" recipientList="mailto:anna@friends.example"'
                f' subjectText="{ESCAPED}" bodyText="{ESCAPED}" removeGPSInfo="true" />']:
            must('stat="ok"' in self.client.call(element)[1], element)
        self.client.call(f'<{MARKUP} />')
        self.client.send("GET", "/%3Cimg%20src=x%20onerror=window.ran=1%3E<img/src=x>")
        for selector in ["#account strong", "#account .words .quiet", "#account .tag"]:
            self.page.wait(f"{texts(selector)}.includes({json.dumps(MARKUP)})")
        self.page.click("#tab-outbox")
        self.page.wait(f"{texts('#outbox .name')}.includes({json.dumps(MARKUP)})")
        self.open_row("#outbox", "onerror")
        must(self.page.value("document.querySelector('#window pre').textContent") == MARKUP, "the text")
        self.page.wait("document.querySelectorAll('#window .thumbnail').length === 1")
        self.close_window()
        self.page.click("#tab-account")
        self.open_row("#account", "dawn.jpg")
        made = "document.querySelectorAll('img:not(.picture), body script:not([nonce])').length"
        must(self.page.value(made) == 0, "a name became an element")
        self.close_window()
        must(self.page.value(made) == 0, "a name became an element")
        must(self.page.value("window.ran") is None, "a name ran as a script")

    def check_refused(self):
        """Another page, of another port of the same host, and whoever lacks the token."""
        other = Service(self.program)
        page = self.browser.open(other.page)
        asked = page.value(
            f"fetch('{self.service.url}/control/account', {{ headers: {{ Authorization:"
            f" 'Bearer {self.service.token}' }} }}).then(() => 'answered', () => 'refused')")
        page.close()
        other.stop()
        must(asked == "refused", f"a page of another origin was {asked}")
        for headers in [{"Authorization": "Bearer wrong"}, {"Authorization": None},
                        {"Host": f"evil.example:{self.service.port}"},
                        {"Origin": "http://evil.example"}]:
            status, text = self.service.control("GET", "/control/account", **headers)
            must(status == 403 and "dawn" not in text, f"{headers}: {status}")
        page = self.browser.open(self.service.url + "/?token=wrong")
        page.wait("document.body.innerText.includes('needs the token')")
        page.close()

    def check_reset(self):
        self.page.click("#reset")
        self.page.wait("document.getElementById('window').open")
        self.page.value("[...document.querySelectorAll('#window button')]"
                        ".find((b) => b.textContent === 'Empty it').click()")
        self.page.wait(has_text("#storage-text", ", 0 items"))
        self.page.wait(f"{texts('#account .row')}.length === 1")
        must(self.service.account()["items"] == [], "items are left")
        must('stat="ok"' in self.client.call("<GetStorageCapacity />")[1], "the session is gone")

    def check_restart(self):
        """The page outlives the service, and shows the next one that keeps the same data."""
        with tempfile.TemporaryDirectory(prefix="kelo-page-") as folder:
            service = Service(self.program, "--data", folder)
            page = self.browser.open(service.page)
            page.wait(has_text("#status", "Live"))
            Client(service).call("<GetAddressList />")
            page.wait(has_text("#requests .row", "GetAddressList"))
            must(service.stop() == 0, "the service ended badly")
            page.wait(has_text("#status", "does not answer"))
            service = Service(self.program, "--data", folder, "--port", str(service.port))
            Client(service).call("<GetStorageCapacity />")
            page.wait(has_text("#requests .row", "GetStorageCapacity"))
            must(not page.value(has_text("#requests .row", "GetAddressList")), "the old log is left")
            page.close()
            service.stop()


def contrast(one, other):
    def luminance(colour):
        parts = [int(part) / 255 for part in re.findall(r"\d+", colour)[:3]]
        linear = [c / 12.92 if c <= 0.03928 else ((c + 0.055) / 1.055) ** 2.4 for c in parts]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]
    low, high = sorted([luminance(one), luminance(other)])
    return (high + 0.05) / (low + 0.05)


def run(name, check):
    try:
        check()
    except Exception as failure:  # whatever it is, the other checks follow
        print(f"{type(failure).__name__}: {failure}\nfailed {name}", flush=True)
    else:
        print(f"ok {name}", flush=True)


def main():
    program, samples = sys.argv[1:3]
    browser = Browser()
    try:
        checks = Checks(program, samples, browser)
        for name in [name for name in vars(Checks) if name.startswith("check_")]:
            checks.page.value("document.getElementById('window').close()")
            run(name.removeprefix("check_"), getattr(checks, name))
        run("scale", lambda: check_scale(program, samples, browser))
        checks.service.stop()
    finally:
        browser.close()


main()
