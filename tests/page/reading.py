"""Who may read the page, and how: keys, colours, hostile names, other pages, restarts."""
import json
import re
import tempfile

from page_checks import MARKUP, PageChecks, has_text, must, texts
from service import Client, Service

ESCAPED = (MARKUP.replace("&", "&amp;").replace("<", "&lt;").replace(">", "&gt;")
           .replace('"', "&quot;"))


def contrast(one, other):
    def luminance(colour):
        parts = [int(part) / 255 for part in re.findall(r"\d+", colour)[:3]]
        linear = [c / 12.92 if c <= 0.03928 else ((c + 0.055) / 1.055) ** 2.4 for c in parts]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]
    low, high = sorted([luminance(one), luminance(other)])
    return (high + 0.05) / (low + 0.05)


class Reading(PageChecks):
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
          !e.labels?.length && !e.ariaLabel && !e.hasAttribute("aria-labelledby"))
          .map((e) => e.id)""")
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
        before = self.page.wait("document.querySelectorAll('#account .row').length")
        self.page.key("ArrowLeft")
        self.page.wait(f"document.querySelectorAll('#account .row').length < {before}")
        self.page.key("ArrowRight")
        self.page.wait(f"document.querySelectorAll('#account .row').length === {before}")
        self.page.value("document.getElementById('tab-account').focus()")
        self.page.key("ArrowRight")
        self.page.wait("!document.getElementById('panel-outbox').hidden")
        self.page.key("ArrowLeft")
        self.page.wait("document.querySelector('#account .row') && true")

    def check_contrast(self):
        self.page.value("document.getElementById('failures').checked ||"
                        " document.getElementById('failures').click()")
        grounds = []
        for scheme in ["light", "dark"]:
            self.page.call("Emulation.setEmulatedMedia",
                           features=[{"name": "prefers-color-scheme", "value": scheme}])
            self.page.wait(f"matchMedia('(prefers-color-scheme: {scheme})').matches")
            # Waits for each of them: a list has its rows a frame after its tab is shown.
            colours = self.page.wait("""(() => {
              const ground = (e) => {
                const colour = getComputedStyle(e).backgroundColor;
                return colour === "rgba(0, 0, 0, 0)" && e.parentElement ? ground(e.parentElement)
                  : colour;
              };
              return ["body", "header", ".quiet", ".bad", ".fault", "#requests .row", ".stars",
                ".tag", "button", "select", "[role=tab][aria-selected=true]"].map((name) => {
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
        must('stat="ok"' in self.client.upload(ESCAPED + ".jpg", b"no picture")[1], "no upload")
        item = next(i for i in self.service.account()["items"] if MARKUP in i["name"])["id"]
        for element in [
                f'<AddFolder folderName="{ESCAPED}" />',
                f'<AddItemsToAlbum albumId="{album}" itemIdList="{item}" />',
                f'<ModifyProps itemIdList="{item}">\r\n<property name="caption"'
                f' value="{ESCAPED}" />\r\n</ModifyProps>',
                f'<AddTags itemIdList="{item}" tagList="{ESCAPED}" />',
                f'<ShareAlbum albumId="{album}" recipientList="mailto:anna@friends.example"'
                f' subjectText="{ESCAPED}" bodyText="{ESCAPED}" removeGPSInfo="true" />']:
            must('stat="ok"' in self.client.call(element)[1], element)
        self.client.call(f'<{MARKUP} />')
        self.client.send("GET", "/%3Cimg%20src=x%20onerror=window.ran=1%3E<img/src=x>")
        for selector in ["#account strong", "#account .words .quiet", "#account .tag",
                         "#address option"]:
            self.page.wait(f"{texts(selector)}.includes({json.dumps(MARKUP)})")
        self.page.wait(f"{texts('#account .name')}.includes({json.dumps(MARKUP + '.jpg')})")
        self.page.click("#tab-outbox")
        self.page.wait(f"{texts('#outbox .name')}.includes({json.dumps(MARKUP)})")
        self.open_row("#outbox", "onerror")
        must(self.page.wait("document.querySelector('#window pre').textContent") == MARKUP,
             "the text is another")
        self.page.wait("document.querySelectorAll('#window .thumbnail').length === 1")
        self.close_window()
        self.page.click("#tab-account")
        self.open_row("#account", MARKUP + ".jpg")
        made = "document.querySelectorAll('img:not(.picture), body script:not([nonce])').length"
        must(self.page.value(made) == 0, "a name became an element")
        self.close_window()
        must(self.page.value(made) == 0, "a name became an element")
        must(self.page.value("window.ran") is None, "a name ran as a script")

    def check_long_texts(self):
        """No text from outside makes the page, or a part of it, wider than its window."""
        self.client.send("GET", "/" + "long" * 1000)
        self.client.call(f'<AddFolder folderName="{"long" * 60}" />')
        self.client.call(f'<{"Long" * 60} />')
        for box in ["#requests", "#account", "#method"]:
            self.page.wait(has_text(box, "long" * 60))
        fault = "NegotiateUploadItems:slow=1000000000000,times=1000000"
        self.service.control("POST", "/control/faults", json.dumps({"add": [fault, "*:slow=99999"]}))
        self.client.call("<GetAddressList />")
        self.page.wait(has_text("#faults", fault))
        for width in [1280, 400]:
            self.page.call("Emulation.setDeviceMetricsOverride", width=width, height=800,
                           deviceScaleFactor=1, mobile=False)
            for tab in ["outbox", "faults", "account"]:
                self.page.click(f"#tab-{tab}")
                wide = self.page.value("""[document.documentElement, ...document.querySelectorAll(
                  ".list, #faults")].filter((e) => e.scrollWidth > e.clientWidth)
                  .map((e) => `${e.id} ${e.scrollWidth} of ${e.clientWidth}`)""")
                must(wide == [], f"{tab} at {width}: {wide}")
        self.page.call("Emulation.clearDeviceMetricsOverride")
        self.service.control("DELETE", "/control/faults")

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
                        ".find((b) => b.textContent === 'Empty them').click()")
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
            must(not page.value(has_text("#requests .row", "GetAddressList")), "an old log is left")
            page.close()
            service.stop()
