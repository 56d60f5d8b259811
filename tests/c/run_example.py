"""Runs the example against a local service that holds some pictures, and checks what it did.

    run_example.py KELO-DEVSERVICE BROWSE PICTURES
"""
import html
import os
import pathlib
import subprocess
import sys
import tempfile

service_program, example, pictures = sys.argv[1:]
pictures = pathlib.Path(pictures)


def start_service():
    """The service, stopping when its standard input ends, and what it printed about itself."""
    service = subprocess.Popen([service_program, "--import", pictures, "--until-eof"],
                               stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
    printed = {}
    while "urls" not in printed:
        line = service.stdout.readline()
        if not line:
            sys.exit("the service ended before it said how to reach it")
        words = line.split()
        if len(words) == 2:
            printed[words[0]] = words[1]
        elif words[0].startswith("kKELO_"):
            printed["urls"] = line
    return service, printed


def browse(credentials, folder):
    urls = pathlib.Path(folder, "urls")
    urls.write_text(credentials["urls"])
    target = pathlib.Path(folder, "picture")
    command = [example, credentials["key"], credentials["token"], credentials["secret"], target]
    run = subprocess.run(command, env={**os.environ, "KELO_URLS_FILE": str(urls)},
                         capture_output=True, text=True)
    return run, target


def check(run, target):
    assert run.returncode == 0, f"status {run.returncode}: {run.stdout}{run.stderr}"
    in_folders = [file for file in pictures.rglob("*") if file.is_file() and file.parent != pictures]
    assert in_folders, "there are no pictures to import"
    listed = html.unescape(run.stdout)  # names stand as the service writes them
    for file in in_folders:
        assert file.name in listed, f"{file.name} is not listed in:\n{listed}"
    content = target.read_bytes()
    assert any(file.read_bytes() == content for file in in_folders), "the download differs"


service, credentials = start_service()
with tempfile.TemporaryDirectory() as folder:
    run, target = browse(credentials, folder)
    service.communicate()  # ends its standard input, and so the service
    check(run, target)
assert service.returncode == 0, f"the service ended with {service.returncode}"
