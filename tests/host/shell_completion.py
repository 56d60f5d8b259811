"""Types command lines with the tab key into a real shell on a pseudo-terminal, and looks at the words
that the program then gets: shell_completion.py SHELL KELO KELO-DEVSERVICE SCRIPTS
"""
import fcntl
import os
import pathlib
import pty
import select
import struct
import subprocess
import sys
import tempfile
import termios

from service import Service

shell, kelo, service_program, scripts = sys.argv[1:]
PATIENCE = 60  # seconds; only a shell that hangs takes them
PROMPT = "READY>"

# Blanks, quotes and signs that a shell takes for something of its own.
ODD = "It's $HOME; \"quoted\" & <more>"
PICTURES = [
    "Journeys/Lisbon/tram.jpg",
    "Journeys/Lisbon/café à noite.jpg",
    "Journeys/京都/桜の庭.jpg",
    "Trip: one=two/a@b.jpg",
    ODD + "/frog *.jpg",
    "Plain/x.jpg",
]

# What is typed, "\t" being the tab key, and the words that arrive behind the program's name.
CASES = [
    ("quo\t", ["quota"]),
    ("help mkal\t", ["help", "mkalbum"]),
    ("get --repl\tPla\t", ["get", "--replace", "Plain"]),
    ("put --album=Pla\t", ["put", "--album=Plain"]),
    ("get Journeys/L\t/tr\t", ["get", "Journeys/Lisbon/tram.jpg"]),
    ("get Lisbon/ca\t", ["get", "Lisbon/café à noite.jpg"]),
    ("get 京都/\t", ["get", "京都/桜の庭.jpg"]),
    ("get Tri\t/\t", ["get", "Trip: one=two/a@b.jpg"]),
    ("put --album It\t", ["put", "--album", ODD]),
    ("put --album=It\t", ["put", "--album=" + ODD]),
    ("get It\t/fr\t", ["get", ODD + "/frog *.jpg"]),
    ("put --album 'Pla\t", ["put", "--album", "Plain"]),
    ("put --album \"It\t", ["put", "--album", ODD]),
    ("get \"Lisbon/ca\t", ["get", "Lisbon/café à noite.jpg"]),
    ("get 'Journeys/京\t'", ["get", "Journeys/京都"]),
    ("put --files-from photo\t", ["put", "--files-from", "photo 1.jpg"]),
    ("put photo\t", ["put", "photo 1.jpg"]),
    ("check photo\tPla\t", ["check", "photo 1.jpg", "Plain"]),
    ("get x --to targ\t", ["get", "x", "--to", "target folder"]),
    ("ls --sort up\tPla\t", ["ls", "--sort", "upload", "Plain"]),
    ("ls --sort=sh\t", ["ls", "--sort=shot"]),
    ("nonsense Pla\t", ["nonsense", "Pla"]),
]
if shell == "bash":  # the program itself takes what is typed there apart
    CASES += [
        ("get Jour\"ne\t\"", ["get", "Journeys"]),
        ("get Trip:\t", ["get", "Trip: one=two"]),
        ("put --album 'It\t", ["put", "--album", ODD]),
        ("put --album 'It'\\''s\t", ["put", "--album", ODD]),
        ("put --album \"It's \\$HO\t", ["put", "--album", ODD]),
        ("put --album \"It's \\$\\HO\t\"", ["put", "--album", "It's $\\HO"]),
    ]

STARTS = {  # the command, and what it reads at its start
    "bash": (["bash", "--rcfile", "start", "-i"],
             f"PS1='{PROMPT}'; source '{scripts}/kelo.bash'"),
    "zsh": (["zsh", "-d", "-i"],
            f"PS1='{PROMPT}'; fpath=('{scripts}' $fpath); autoload -U compinit; compinit -u -D"),
    "fish": (["fish", "--private", "--no-config", "-i", "-C", "source start"],
             f"function fish_prompt; printf '{PROMPT}'; end; source '{scripts}/kelo.fish'"),
}

# Stands for the program: completes as it does, and tells which words it would have got.
PROGRAM = """#!/bin/sh
if [ "$1" = __complete ]; then exec "$KELO" "$@"; fi
echo ARRIVED
printf '%s\\0' "$@" END >"$FOLDER/words"
"""


class Shell:
    def __init__(self, folder, environment):
        command, start = STARTS[shell]
        for name in ("start", ".zshrc"):
            (folder / name).write_text(start + "\n")
        os.mkfifo(folder / "words")
        self.words = os.open(folder / "words", os.O_RDWR)  # kept open: it never ends
        self.terminal, inside = pty.openpty()
        fcntl.ioctl(inside, termios.TIOCSWINSZ, struct.pack("HHHH", 50, 200, 0, 0))
        self.process = subprocess.Popen(command, cwd=folder, env=environment, stdin=inside,
                                        stdout=inside, stderr=inside, start_new_session=True,
                                        preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0))
        os.close(inside)
        self.shown = ""
        self.read_until(lambda: PROMPT in self.shown)

    def read_until(self, fulfilled, arrived=None):
        """Reads what the shell shows, and what arrives, until the condition holds."""
        while not fulfilled():
            ready, _, _ = select.select([self.terminal, self.words], [], [], PATIENCE)
            assert ready, f"{shell} hangs: {self.shown}"
            if self.terminal in ready:
                self.shown += os.read(self.terminal, 65536).decode(errors="replace")
            if self.words in ready:
                arrived += os.read(self.words, 65536)

    def type(self, line):
        """The words that the program gets from a line."""
        self.shown = ""
        arrived = bytearray()
        os.write(self.terminal, line.encode() + b"\r")
        self.read_until(lambda: arrived.endswith(b"END\0") and
                        PROMPT in self.shown.partition("ARRIVED")[2], arrived)
        return arrived.decode().split("\0")[:-2]


def write_pictures(folder):
    for picture in PICTURES:
        path = folder / picture
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(picture.encode())


def check(folder, service):
    program = folder / "bin/kelo"
    program.parent.mkdir()
    program.write_text(PROGRAM)
    program.chmod(0o755)
    (folder / "photo 1.jpg").write_text("x")
    (folder / "target folder").mkdir()
    environment = service.environment(PATH=f"{program.parent}:/usr/bin:/bin", TERM="xterm",
                                      ZDOTDIR=str(folder), KELO=kelo, FOLDER=str(folder))
    subprocess.run([kelo, "login"], env=environment, check=True, stdout=subprocess.DEVNULL)
    typing = Shell(folder, environment)
    wrong = 0
    for line, expected in CASES:
        words = [word.rstrip("/") for word in typing.type("kelo " + line)]
        if words != expected:
            print(f"{line!r}: {words} instead of {expected}\n{typing.shown!r}")
            wrong += 1
    typing.process.kill()
    typing.process.wait()
    return wrong


with tempfile.TemporaryDirectory() as temporary:
    root = pathlib.Path(temporary)
    write_pictures(root / "pictures")
    with Service(service_program, "--import", root / "pictures") as service:
        failures = check(root, service)
sys.exit(1 if failures else 0)
