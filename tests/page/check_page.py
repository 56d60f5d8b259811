#!/usr/bin/env python3
"""Looks at the service's page in a real browser: check_page.py SERVICE SAMPLES

One line for each check, 'ok NAME' or 'failed NAME' with what was found above it.
"""
import sys

from browser import Browser
from contents import Contents
from reading import Reading
from scale import check_scale


class Checks(Contents, Reading):
    """Each method check_NAME is a check; they follow one another on one page."""


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
        names = [*vars(Contents), *vars(Reading)]
        for name in [name for name in names if name.startswith("check_")]:
            checks.page.value("document.getElementById('window').close()")
            run(name.removeprefix("check_"), getattr(checks, name))
        run("scale", lambda: check_scale(program, samples, browser))
        checks.service.stop()
    finally:
        browser.close()


main()
