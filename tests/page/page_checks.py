"""What the checks of the page share."""
import json

from browser import Failure
from service import Client, Service


# A name that a browser would make elements of, were it ever taken for markup.
MARKUP = '"><img src=x onerror="window.ran=1"><script>window.ran=1</script>'


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


class PageChecks:
    """A service with the samples, its page, and what all checks do with it."""

    def __init__(self, program, samples, browser):
        self.program = program
        self.browser = browser
        self.service = Service(program, "--import", f"{samples}/mine",
                               "--friend", f"{samples}/friend/Anna's birthday", "--account", MARKUP)
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
