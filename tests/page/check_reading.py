"""Who may read the page, and how: keys, colours, hostile names, other pages, restarts, much to read."""
import json
import os
import pathlib
import re
import shutil
import tempfile

from browser import Page
from page_base import MARKUP, PageChecks, Service, has_text, must, texts

API = "/P2PwebCmdController"
ITEMS, ALBUMS = 20_000, 100  # of the large account
REQUESTS = 10_000  # what the log keeps ...
EXTRA = 500  # ... and how many more are sent
MAX_ROWS = 200  # in the document, of all lists together

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
            self.page.key("TAB")
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
        self.page.key("HOME")
        self.page.key("ARROW_DOWN")
        selected = "document.querySelector('#requests [aria-selected=true]')"
        must(self.page.wait(f"{selected}.ariaPosInSet") == "2", "the second request is selected")
        self.page.key("ENTER")
        self.page.wait("document.getElementById('window').open")
        self.close_window()
        self.page.wait("document.activeElement.id === 'requests'")
        self.page.value("document.getElementById('account').focus()")
        self.page.key("HOME")
        before = self.page.wait("document.querySelectorAll('#account .row').length")
        self.page.key("ARROW_LEFT")
        self.page.wait(f"document.querySelectorAll('#account .row').length < {before}")
        self.page.key("ARROW_RIGHT")
        self.page.wait(f"document.querySelectorAll('#account .row').length === {before}")
        self.page.value("document.getElementById('tab-account').focus()")
        self.page.key("ARROW_RIGHT")
        self.page.wait("!document.getElementById('panel-outbox').hidden")
        self.page.key("ARROW_LEFT")
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
        picture = pathlib.Path(self.service.home.name, MARKUP + ".jpg")
        picture.write_text("no picture")
        for command in [["put", str(picture), "--album", MARKUP], ["mkdir", MARKUP],
                        ["caption", picture.name, MARKUP], ["tag", picture.name, MARKUP],
                        ["mail", MARKUP, "--to", "anna@friends.example", "--subject", MARKUP,
                         "--text", MARKUP]]:
            self.kelo(*command)
        for path in ["/%3Cimg%20src=x%20onerror=window.ran=1%3E<img/src=x>",
                     API + "/api-auth?method=<img/src=x/onerror=window.ran=1>"]:
            self.service.ask("GET", path)
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
        self.service.ask("GET", "/" + "long" * 1000)
        self.service.ask("GET", API + "/api-auth?method=" + "long" * 60)
        self.kelo("mkdir", "long" * 60)
        for box in ["#requests", "#account", "#method"]:
            self.page.wait(has_text(box, "long" * 60))
        fault = "NegotiateUploadItems:slow=1000000000000,times=1000000"
        self.service.ask("POST", "/control/faults", json.dumps({"add": [fault, "*:slow=99999"]}))
        self.kelo("contacts")
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
        self.service.ask("DELETE", "/control/faults")

    def check_reset(self):
        self.page.click("#reset")
        self.page.wait("document.getElementById('window').open")
        self.page.value("[...document.querySelectorAll('#window button')]"
                        ".find((b) => b.textContent === 'Empty them').click()")
        self.page.wait(has_text("#storage-text", ", 0 items"))
        self.page.wait(f"{texts('#account .row')}.length === 1")
        must(self.service.account()["items"] == [], "items are left")
        self.kelo("quota")  # in the session of before

    def check_restart(self):
        """The page outlives the service, and shows the next one that keeps the same data."""
        with tempfile.TemporaryDirectory() as folder:
            with Service(self.program, "--data", folder) as service:
                page = Page(service.credentials["page"])
                page.wait(has_text("#status", "Live"))
                service.ask("GET", "/before")
                page.wait(has_text("#requests .row", "/before"))
            page.wait(has_text("#status", "does not answer"))
            with Service(self.program, "--data", folder, "--port", str(service.port)) as service:
                service.ask("GET", "/after")
                page.wait(has_text("#requests .row", "/after"))
                must(not page.value(has_text("#requests .row", "/before")), "an old log is left")
                page.close()

    def check_much(self):
        """Of a large account and a full log all is there, and little is drawn."""
        with tempfile.TemporaryDirectory() as folder:
            for album in range(ALBUMS):
                first = f"{folder}/Album {album:03}/first.jpg"
                os.mkdir(os.path.dirname(first))
                shutil.copyfile(f"{self.samples}/mine/dawn.jpg", first)
                for number in range(1, ITEMS // ALBUMS):
                    os.link(first, f"{folder}/Album {album:03}/{number:05}.jpg")
            with Service(self.program, "--import", folder) as service:
                for number in range(REQUESTS + EXTRA):
                    service.ask("GET", f"{API}/nothing/{number}")
                page = Page(service.credentials["page"])
                page.wait("document.getElementById('requests-count').textContent ==="
                          f" '{REQUESTS:,} requests' && document.querySelector('#account .row')")
                look_through(page)
                page.close()


def look_through(page):
    """Both lists to their ends by keys, and what opens is what is clicked."""
    for box, total in [("requests", REQUESTS), ("account", ITEMS + ALBUMS + 1)]:  # and the root
        page.value(f"document.getElementById('{box}').focus()")
        for key in ["HOME", "PAGE_DOWN", "PAGE_DOWN", "END"]:
            page.key(key)
            rows = page.value("document.querySelectorAll('.row').length")
            must(rows <= MAX_ROWS, f"{rows} rows are drawn")
        selected = page.wait(f"document.querySelector('#{box} .row[aria-selected=true]')"
                             ".ariaPosInSet")
        size = page.value(f"document.querySelector('#{box} .row').ariaSetSize")
        must(selected == size == str(total), f"{box}: at {selected} of {size}")
    page.value("document.activeElement.blur()")
    page.value("document.getElementById('account').scrollTop = 300000")
    middle = "((r) => [r.x + r.width / 2, r.y + r.height / 2])(%s.getBoundingClientRect())"
    name = page.wait(f"document.elementFromPoint(...{middle % 'account'}).closest('.row')"
                     ".querySelector('.words .name').textContent")
    page.press("#account")
    opened = page.wait("document.getElementById('window-title').textContent")
    must(opened == name, f"{opened} opened instead of {name}")
