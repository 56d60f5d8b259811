"""The page with a large account and a full log: all of it is there, and little is drawn."""
import http.client
import os
import shutil
import tempfile

from browser import Failure
from service import PATH, Client, Service

ITEMS = 20_000
ALBUMS = 100
REQUESTS = 10_000  # what the log keeps ...
EXTRA = 500  # ... and how many more are sent
MAX_ROWS = 200  # in the document, of all lists together
ALL_ROWS = "document.querySelectorAll('.row').length"


def make_pictures(folder, sample):
    """Many names for one picture."""
    for album in range(ALBUMS):
        os.mkdir(f"{folder}/Album {album:03}")
        first = f"{folder}/Album {album:03}/first.jpg"
        shutil.copyfile(sample, first)
        for number in range(1, ITEMS // ALBUMS):
            os.link(first, f"{folder}/Album {album:03}/{number:05}.jpg")


def fill_log(service):
    """Mostly requests for what is not there; every hundredth is a signed one."""
    client = Client(service)
    connection = http.client.HTTPConnection("127.0.0.1", service.port, timeout=120)
    for number in range(1, REQUESTS + EXTRA):
        if number % 100 == 0:
            client.call("<GetStorageCapacity />")
            continue
        connection.request("GET", f"{PATH}/nothing/{number}")
        connection.getresponse().read()


def check_scale(program, samples, browser):
    folder = tempfile.mkdtemp(prefix="kelo-page-")
    try:
        make_pictures(folder, f"{samples}/mine/dawn.jpg")
        service = Service(program, "--import", folder)
        fill_log(service)
        page = browser.open(service.page)
        page.wait("document.getElementById('requests-count').textContent ==="
                  f" '{REQUESTS:,} requests' && document.querySelector('#account .row')")
        look_through(page)
        page.close()
        service.stop()
    finally:
        shutil.rmtree(folder)


def look_through(page):
    """Both lists to their ends by keys: the last rows are there, and few are drawn."""
    for box in ["account", "requests"]:
        page.value(f"document.getElementById('{box}').focus()")
        most = 0
        for key in ["Home", "PageDown", "PageDown", "End"]:
            page.key(key)
            most = max(most, page.value(ALL_ROWS))
        if most > MAX_ROWS:
            raise Failure(f"{most} rows are drawn")
        selected = page.wait(f"document.querySelector('#{box} .row[aria-selected=true]')"
                             ".ariaPosInSet")
        total = page.value(f"document.querySelector('#{box} .row').ariaSetSize")
        if selected != total:
            raise Failure(f"{box}: at {selected} of {total}")
    page.value("document.activeElement.blur()")
    page.value("document.getElementById('account').scrollTop = 300000")
    name = page.wait(f"{page.at_middle('#account')}.closest('.row').querySelector('.words .name')"
                     ".textContent")
    page.press("#account")
    if page.wait("document.getElementById('window-title').textContent") != name:
        raise Failure(f"{name} was not what opened")
    page.key("Escape")
    rows = int(page.value("document.querySelector('#account .row').ariaSetSize"))
    if rows != ITEMS + ALBUMS + 1:  # and the album at the top
        raise Failure(f"the account has {rows} rows")
