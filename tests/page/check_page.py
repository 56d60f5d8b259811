#!/usr/bin/env python3
"""Looks at the service's page in a real browser: check_page.py KELO-DEVSERVICE KELO SAMPLES

One line for each check, 'ok NAME' or 'failed NAME' with what was found above it.
"""
import sys

from check_contents import Contents
from check_reading import Reading


class Checks(Contents, Reading):
    """Each method check_NAME is a check; they follow one another on one page."""


def main():
    checks = Checks(*sys.argv[1:])
    for name in [n for n in [*vars(Contents), *vars(Reading)] if n.startswith("check_")]:
        checks.page.value("document.getElementById('window').close()")
        outcome = "ok"
        try:
            getattr(checks, name)()
        except Exception as failure:  # whatever it is, the other checks follow
            print(f"{type(failure).__name__}: {failure}")
            outcome = "failed"
        print(outcome, name.removeprefix("check_"), flush=True)
    checks.page.close()
    checks.service.stop()


main()
