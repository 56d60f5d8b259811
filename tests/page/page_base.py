"""What the checks of the page share."""
import json
import pathlib
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent.parent / "support"))

from browser import Page
from service import Service

# A name that a browser would make elements of, were it ever taken for markup.
MARKUP = '"><img src=x onerror="window.ran=1"><script>window.ran=1'


def texts(selector):
    return f"[...document.querySelectorAll({json.dumps(selector)})].map((e) => e.textContent)"


def has_text(selector, text):
    return f"{texts(selector)}.some((t) => t.includes({json.dumps(text)}))"


def row_with(selector, text):
    return (f"[...document.querySelectorAll({json.dumps(selector + ' .row')})]"
            f".find((e) => e.textContent.includes({json.dumps(text)}))")


def must(condition, what):
    if not condition:
        raise AssertionError(what)


class PageChecks:
    """A service with the samples, its page, and what all checks do with it."""

    def __init__(self, program, kelo, samples, account=MARKUP):
        self.program, self.program_of_users, self.samples = program, kelo, samples
        self.service = Service(program, "--import", f"{samples}/mine",
                               "--friend", f"{samples}/friend/Anna's birthday", "--account", account)
        self.page = Page(self.service.credentials["page"])
        self.kelo("login")

    def kelo(self, *words, status=0):
        run = subprocess.run([self.program_of_users, *words], env=self.service.environment(),
                             text=True, capture_output=True, check=False)
        must(run.returncode == status, f"{words}: {run.stderr}")

    def open_row(self, box, text):
        self.page.wait(f"{row_with(box, text)}?.click() ?? {row_with(box, text)}")
        return self.page.wait("document.getElementById('window').open &&"
                              " document.getElementById('window').innerText")

    def close_window(self):
        self.page.key("ESCAPE")
        self.page.wait("!document.getElementById('window').open")
