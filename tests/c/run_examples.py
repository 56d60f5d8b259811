"""Runs the examples against a local service that holds some pictures, and checks what they did.

    run_examples.py KELO-DEVSERVICE BROWSE BROWSE-CPP ADDRESSES PICTURES
"""
import html
import os
import pathlib
import subprocess
import sys
import tempfile

from local_service import local_service

service_program, browse, browse_cpp, addresses, pictures = sys.argv[1:]
pictures = pathlib.Path(pictures)


def output(example, credentials, folder, *arguments):
    """What an example prints when it succeeds."""
    urls = pathlib.Path(folder, "urls")
    urls.write_text(credentials["urls"])
    command = [example, credentials["key"], credentials["token"], credentials["secret"], *arguments]
    run = subprocess.run(command, env={**os.environ, "KELO_URLS_FILE": str(urls)},
                         capture_output=True, text=True)
    assert run.returncode == 0, f"status {run.returncode}: {run.stdout}{run.stderr}"
    return run.stdout


def check_browse(listed, target):
    in_folders = [file for file in pictures.rglob("*") if file.is_file() and file.parent != pictures]
    assert in_folders, "there are no pictures to import"
    for file in in_folders:
        assert file.name in listed, f"{file.name} is not listed in:\n{listed}"
    content = target.read_bytes()
    assert any(file.read_bytes() == content for file in in_folders), "the download differs"


with local_service(service_program, "--import", pictures) as credentials, \
        tempfile.TemporaryDirectory() as folder:
    target = pathlib.Path(folder, "picture")
    # In C, names stand as the service writes them.
    check_browse(html.unescape(output(browse, credentials, folder, target)), target)
    target.unlink()
    check_browse(output(browse_cpp, credentials, folder, target), target)
    listed = output(addresses, credentials, folder)
    assert "@" in listed, f"no address in {listed}"
