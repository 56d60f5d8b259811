"""The tour of the README works line by line, as in two terminals:
readme_tour.py SOURCE-FOLDER BUILD-FOLDER
"""
import os
import pathlib
import re
import subprocess
import sys
import tempfile

from service import read_credentials

source, build = (pathlib.Path(path).resolve() for path in sys.argv[1:])

# How lines of the tour begin, in its order, and what they print.
EXPECTED = [
    ("kelo login", "logged in"),
    ("kelo tree", "Anna's birthday"),
    ("kelo put samples/friend", "2 stored"),
    ("kelo put samples/friend", "0 stored"),
    ("kelo ls", "cake.jpg"),
    ("kelo info", "cake.jpg"),
    ("kelo get", "cake.jpg"),
    ("kelo get", "2 already here"),
    ("kelo put here", "0 stored"),
    ("kelo help mail", "Usage: kelo mail"),
    ("kelo put mine", "7 files taken for the same"),
    ("kelo check mine --download", "7 the same"),
    ("kelo check mine || kelo put mine", "it has changed since it was sent"),
    ("touch mine/dawn.jpg", "0 stored, 7 already there"),
    ("kelo check mine", "7 the same"),
    ("kelo get --all", "0 already here"),
    ("KELO_URLS_FILE", "bytes in first.jpg"),
    ("kelo logout", "logged out"),
]


def blocks():
    """The lines of each shell block of the tour."""
    tour = (source / "README.md").read_text(encoding="utf-8").partition("## A short tour\n")[2]
    found = [block.splitlines() for block in re.findall(r"```sh\n(.*?)```", tour, re.S)]
    assert len(found) == 4, f"the tour has {len(found)} blocks"
    return found


def start(folder, lines, environment):
    """Runs the first terminal; its last line, the service, goes on."""
    lines = [*lines[:-1], "exec " + lines[-1]]
    service = subprocess.Popen(["bash", "-euc", "\n".join(lines)], cwd=folder, env=environment,
                               stdout=subprocess.PIPE, text=True)
    return service, read_credentials(service.stdout)


def walk(folder, lines, credentials, environment):
    """Types the lines into one shell, and looks at what each of them prints."""
    words = {"URL": "URL", "KEY": "key", "TOKEN": "token", "SECRET": "secret"}
    script = [re.sub(r"=(URL|KEY|TOKEN|SECRET)\b", lambda m: "=" + credentials[words[m[1]]], line)
              for line in lines]
    shell = subprocess.Popen(["bash", "-eu"], cwd=folder, env=environment, stdin=subprocess.PIPE,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True)
    printed = shell.communicate("".join(f"{line}\necho 'END OF LINE'\n" for line in script))[0]
    outputs = printed.split("END OF LINE\n")
    assert shell.returncode == 0 and len(outputs) == len(lines) + 1, \
        f"status {shell.returncode} at line {len(outputs)}: {lines[len(outputs) - 1]}\n{printed}"
    expected = list(EXPECTED)
    for line, output in zip(lines, outputs):
        if expected and line.startswith(expected[0][0]):
            text = expected.pop(0)[1]
            assert text in output, f"'{text}' is missing behind {line}:\n{output}"
    assert not expected, f"the tour lacks {expected}"


def main(folder):
    for name in ("samples", "examples", "include"):
        (folder / name).symlink_to(source / name)
    (folder / "build").mkdir()
    (folder / "build/demo").symlink_to(build)
    environment = {"HOME": str(folder), "PATH": os.environ["PATH"], "LC_ALL": "C.UTF-8"}
    first, *rest = blocks()
    service, credentials = start(folder, first, environment)
    try:
        walk(folder, sum(rest, []), credentials, environment)
    finally:
        service.terminate()
        service.communicate()


with tempfile.TemporaryDirectory() as temporary:
    main(pathlib.Path(temporary))
