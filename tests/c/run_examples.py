"""Runs the examples against a local service that holds some pictures, and checks what they did.

    run_examples.py KELO-DEVSERVICE BROWSE BROWSE-CPP ADDRESSES TRANSFER PICTURES
"""
import html
import json
import os
import pathlib
import signal
import subprocess
import sys
import tempfile

from service import Service

service_program, browse, browse_cpp, addresses, transfer, pictures = sys.argv[1:]
pictures = pathlib.Path(pictures)


def start(example, credentials, folder, *arguments):
    urls = pathlib.Path(folder, "urls")
    urls.write_text(credentials["urls"])
    command = [example, credentials["key"], credentials["token"], credentials["secret"], *arguments]
    return subprocess.Popen(command, env={**os.environ, "KELO_URLS_FILE": str(urls)}, text=True,
                            stdout=subprocess.PIPE, stderr=subprocess.PIPE)


def output(*example, fails=False):
    """What an example prints when it succeeds, or says when it fails."""
    run = start(*example)
    printed, said = run.communicate()
    assert run.returncode == fails, f"status {run.returncode}: {printed}{said}"
    return said if fails else printed


def check_browse(listed, target):
    in_folders = [file for file in pictures.rglob("*") if file.is_file() and file.parent != pictures]
    assert in_folders, "there are no pictures to import"
    for file in in_folders:
        assert file.name in listed, f"{file.name} is not listed in:\n{listed}"
    content = target.read_bytes()
    assert any(file.read_bytes() == content for file in in_folders), "the download differs"


# A fault of the service, and what the program says then.
TROUBLES = [
    ("AddAlbum:error=318", "Harbour: cannot add the folder or album: the service reports a conflict"),
    ("CheckUploadItems:garbage", "all files: cannot upload: the service gave an unusable answer"),
    ("UploadItems:full", "all files: cannot upload: the account's storage is full (4102)"),
    ("ModifyProps:reset", "b.jpg: cannot change the item: the connection was lost (4129)"),
    ("ShareAlbum:error=302", "cannot send the mail: no such album of yours (4115)"),
]


def check_transfer(credentials, folder):
    def ctl(*words):
        return subprocess.run([service_program, "ctl", "--control-file", f"{folder}/ctl", *words],
                              check=True, capture_output=True, text=True).stdout

    files = [pathlib.Path(folder, name) for name in ("a.jpg", "b.jpg")]
    for file in files:
        file.write_text(file.name)
    example = (transfer, credentials, folder, "Harbour", "a@x;bad", *files)
    for fault, words in TROUBLES:
        ctl("add", fault)
        said = output(*example, fails=True)
        assert words in said, f"'{words}' is missing behind {fault}:\n{said}"
        ctl("remove")
        for file in files:  # new pictures for the next one
            file.write_text(file.read_text() + "!")

    ctl("add", "UploadItems:silence")
    run = start(*example)
    assert run.stderr.readline().startswith("0 of ")
    run.send_signal(signal.SIGINT)
    said = run.communicate()[1]
    assert run.returncode == 1 and "aborted (3)" in said, f"status {run.returncode}: {said}"
    ctl("remove")

    assert "no mail to bad" in output(*example, fails=True)
    account = json.loads(ctl("account"))
    captions = [item["name"] for item in account["items"] if item["caption"] == "Harbour"]
    assert {"a.jpg", "b.jpg"} <= set(captions), f"captions are those of {captions}"
    assert account["mails"][-1]["subject"] == "Harbour", account["mails"]


with tempfile.TemporaryDirectory() as folder, \
        Service(service_program, "--import", pictures, "--control-file", f"{folder}/ctl") as service:
    credentials = service.credentials
    target = pathlib.Path(folder, "picture")
    # In C, names stand as the service writes them.
    check_browse(html.unescape(output(browse, credentials, folder, target)), target)
    target.unlink()
    check_browse(output(browse_cpp, credentials, folder, target), target)
    listed = output(addresses, credentials, folder)
    assert "@" in listed, f"no address in {listed}"
    check_transfer(credentials, folder)
