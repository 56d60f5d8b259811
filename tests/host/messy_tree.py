#!/usr/bin/env python3
"""Makes a folder of pictures as messy as a photographer's disk: messy_tree.py FOLDER

Prints a line for each file: what becomes of it in `kelo put FOLDER`, a tab, and its path in FOLDER.
  travels   is stored, and comes back under its name
  renamed   is stored, and comes back under another name, since the catalogue cuts this one
  copy      is what another file is (name, date and bytes), in another folder
  refused   cannot travel; the reason follows
  left out  is only counted
The same files come out every time, with the same bytes and dates.
"""
import os
import pathlib
import random
import sys

BEGIN = 1_000_000_000  # the first file's modify date; each has a day of its own
DAY = 86_399
MOVIE = 3_000_000  # bytes

# What becomes of them, and the paths. Bytes that are no UTF-8 stand as surrogates, as os.fsencode
# writes them.
FILES = [
    # signs that a shell, a query, a document or a path takes for something of its own
    ("travels", [" blank at both ends .jpg", "two  blanks.jpg", "it's \"quoted\".jpg", "-rf.jpg",
                 "$HOME `id` *?.jpg", "100% #1 a+b=c; d&e.jpg", "&amp; &#26716; <b>.jpg",
                 "~back.jpg", "colon: one.jpg", "Dots/a.b..c.jpg", "Dots/trailing..jpg"]),
    # other scripts, and names as long as they get
    ("travels", ["日本/桜の庭.jpg", "日本/京都/" + "桜" * 31 + ".jpg", "日本/京都/한국.png",
                 "Emoji 🐨/🐨 & 👩‍👩‍👧.jpg", "Emoji 🐨/❤️.heic", "Emoji 🐨/" + "🐨" * 14 + ".jpg",
                 "Long/" + "n" * 56 + ".jpg", "Long/" + "n" * 250 + ".jpg",
                 "Long " + "f" * 200 + "/x.jpg"]),
    ("renamed", ["日本/京都/" + "桜" * 32 + ".jpg", "日本/京都/" + "桜" * 31 + "の.jpg",
                 "Emoji 🐨/" + "🐨" * 16 + ".jpg"]),
    # names that fall together: by case, by the composition of letters, in one album
    ("travels", ["Porto/same.jpg", "Porto/Same.jpg", "Porto/SAME.JPG", "porto/same.jpg",
                 "Cafe\u0301/caf\u00e9.jpg", "Cafe\u0301/cafe\u0301.jpg", "Caf\u00e9/caf\u00e9.jpg",
                 "Trip/One/DSC_0001.jpg", "Trip/One/deep/DSC_0001.jpg",
                 "Trip/One/deep/er/DSC_0001.jpg", "Trip/One/DSC_0001 (2).jpg",
                 "Trip/Two/DSC_0001.jpg", "Trip/loose.jpg"]),
    # other kinds; a picture with its voice memo
    ("travels", ["Kinds/movie.mov", "Kinds/raw.rwa", "Kinds/scan.TIFF", "Kinds/song.mp3",
                 "Kinds/dawn.jpg", "Kinds/dawn.wav"]),
    ("refused: it is empty; empty files are not sent", ["Bad/empty.jpg"]),
    ("refused: its name is not UTF-8", ["Bad/caf\udce9.jpg"]),
    ("refused: its folder's name is not UTF-8", ["Bad/\udcff folder/x.jpg"]),
    ("refused: 2.1 GB is too large; a file must be below 2 GiB", ["Bad/huge.mov"]),
    ("refused: No such file or directory", ["Bad/dangling.jpg"]),
    ("refused: Too many levels of symbolic links", ["Bad/circle 1.jpg", "Bad/circle 2.jpg"]),
    ("refused: it is not a regular file", ["Bad/pipe.jpg"]),
    ("refused: a voice memo is sent with the picture of its name, which is not among the files; "
     "--force sends it alone", ["Bad/alone.wav"]),
    ("copy", ["Twice linked/Same.jpg"]),
    ("left out", ["Thumbs.db", ".DS_Store", "Junk/desktop.ini", "Junk/._a.jpg", "Junk/.hidden.jpg",
                  ".trash/a.jpg", "Junk/notes.txt", "Junk/no extension", "Journeys/up",
                  "Journeys/to itself"]),
]
LINKS = {"Bad/dangling.jpg": "nowhere", "Bad/circle 1.jpg": "circle 2.jpg",
         "Bad/circle 2.jpg": "circle 1.jpg", "Twice linked/Same.jpg": "../Porto/Same.jpg",
         "Journeys/up": "..", "Journeys/to itself": "."}
# The same bytes once more: under another name, with another date, and in another folder with both.
TWINS = [("travels", "Journeys/Lisbon/tram.jpg", "Porto/same.jpg", None),
         ("travels", "Journeys/Lisbon/same.jpg", "Porto/same.jpg", BEGIN),
         ("copy", "Twice/same.jpg", "Porto/same.jpg", None),
         ("copy", "Twice more/movie.mov", "Kinds/movie.mov", None)]
# Name, date and size of another, but other bytes; one of them with its memo, one with a number.
RIVALS = [("Journeys/Madeira/tram.jpg", "Journeys/Lisbon/tram.jpg"),
          ("Journeys/Madeira/tram (2).jpg", "Journeys/Lisbon/tram.jpg"),
          ("Journeys/Madeira/dawn.jpg", "Kinds/dawn.jpg"),
          ("Journeys/Madeira/dawn.wav", "Kinds/dawn.wav")]


def content(name, size):
    # What a picture begins with, and what might end a part of an upload.
    begin = b"\xff\xd8\xff\xe0\0\r\n--BOUNDARY--\r\n" if name.lower().endswith(".jpg") else b""
    return (begin + random.Random(os.fsencode(name)).randbytes(size))[:size]


def create(path, data, date):
    path.parent.mkdir(parents=True, exist_ok=True)
    path.write_bytes(data)
    os.utime(path, (date, date))


def create_plain(folder, name, date):
    path = folder / name
    if name in LINKS:
        path.parent.mkdir(parents=True, exist_ok=True)
        path.symlink_to(LINKS[name])
    elif name.endswith("pipe.jpg"):
        os.mkfifo(path)
    elif name.endswith("huge.mov"):
        create(path, b"", date)
        os.truncate(path, 1 << 31)  # takes no room
    else:
        size = MOVIE if name.endswith(".mov") else 0 if "empty" in name else 1000 + date % 977
        create(path, content(name, size), date)


def make(folder):
    """Gives what becomes of the files, and their names."""
    made = []
    for fate, names in FILES:
        for name in names:
            create_plain(folder, name, BEGIN + DAY * len(made))
            made.append((fate, name))
    for fate, name, source, date in TWINS:
        original = folder / source
        create(folder / name, original.read_bytes(), date or original.stat().st_mtime)
        made.append((fate, name))
    for name, source in RIVALS:
        original = (folder / source).stat()
        create(folder / name, content(name, original.st_size), original.st_mtime)
        made.append(("travels", name))
    return made


if len(sys.argv) != 2:
    sys.exit(__doc__)
for fate, name in make(pathlib.Path(sys.argv[1])):
    sys.stdout.buffer.write(os.fsencode(f"{fate}\t{name}\n"))
