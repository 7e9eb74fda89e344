"""The guide explains every message of the server, and quotes nothing that no program says.

Usage: guide_words_test.py PRINT_MESSAGES [--write]

PRINT_MESSAGES prints the guide's tables of the server's messages; with --write they are put into the guide."""

import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
TABLES = "docs/messages.md"  # of what the server says
GUIDE = ["docs/trouble.md", TABLES]

# Where the texts come from that people see.
SOURCES = ["base", "bus", "relay", "server", "desktop", "panels", "model", "build_app.sh"]

TOKEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/|^\s*\#[^\n]*|(?P<text>u?"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*'|`(?:\\.|[^`\\])*`)""",
    re.DOTALL | re.MULTILINE,
)
BETWEEN_PARTS = re.compile(r"[\s+]*(?:u(?=\"))?\Z")  # of one text on several lines
VARIABLE = re.compile(r"%\d|\$?\{[^}]*\}|…")
MIN_QUOTES = 50
TABLE = re.compile(r"<!-- begin ([\w-]+).*?<!-- end \1 -->\n", re.DOTALL)


def source(path):
    with open(f"{ROOT}/{path}", encoding="utf-8") as file:
        return file.read()


def value(literal):
    text = literal[literal.index(literal[-1]) + 1 : -1]
    text = re.sub(r"\\u([0-9A-Fa-f]{4})", lambda found: chr(int(found.group(1), 16)), text)
    return re.sub(r"\\(.)", r"\1", text)


def texts_of(path):
    """The string literals of a source, adjacent parts joined."""
    code = source(path)
    texts = []
    end = None
    for token in TOKEN.finditer(code):
        if token.group("text") is None:
            continue
        part = value(token.group("text"))
        between = code[end : token.start()] if end is not None else "?"
        if texts and BETWEEN_PARTS.match(between):
            texts[-1] += part
        else:
            texts.append(part)
        end = token.end()
    return texts


def pieces_of(text):
    """The fixed parts of a text, without punctuation around them."""
    return [piece.strip(" .,;:()\"'") for piece in VARIABLE.split(text)]


def rows():
    for line in (line for page in GUIDE for line in TABLE.sub("", source(page)).splitlines()):
        if line.startswith("| ") and not line.startswith("|--"):
            yield line


def quotes_in(text):
    return re.findall(r"`([^`]+)`", text)


def quotes():
    """What the guide quotes as seen: in the first column of its tables."""
    return [quote for row in rows() for quote in quotes_in(row[2:].split(" | ")[0])]


def paths_in(folder):
    if os.path.isfile(f"{ROOT}/{folder}"):
        return [folder]
    found = (os.path.join(place, name) for place, _, names in os.walk(f"{ROOT}/{folder}") for name in names)
    return sorted(os.path.relpath(path, ROOT) for path in found)


def everything_said():
    said = []
    for path in (path for folder in SOURCES for path in paths_in(folder)):
        if path.endswith((".cpp", ".h", ".js", ".qml")):
            said += (piece for text in texts_of(path) for piece in pieces_of(text))
        elif path.endswith((".html", ".sh")):
            said.append(re.sub(r"\s+", " ", source(path)))
    return "\n".join(said)


def unsaid():
    """What the guide quotes and no program says."""
    said = everything_said()
    for piece in (piece for quote in quotes() for piece in pieces_of(quote)):
        if piece not in said:
            yield f"the guide quotes “{piece}”, which no program says"


def tables_in(text):
    return {found.group(1): found.group() for found in TABLE.finditer(text)}


def outdated(made):
    """The tables of the guide that are out of date."""
    written = tables_in(source(TABLES))
    for name in sorted(made.keys() | written.keys()):
        if made.get(name) != written.get(name):
            yield f"{TABLES}: the table {name} is not that of relay/log/Messages.cpp; run this test with --write"


def write(made):
    guide = TABLE.sub(lambda found: made[found.group(1)], source(TABLES))
    with open(f"{ROOT}/{TABLES}", "w", encoding="utf-8") as file:
        file.write(guide)


made = tables_in(subprocess.run([sys.argv[1]], check=True, capture_output=True, encoding="utf-8").stdout)
if "--write" in sys.argv:
    write(made)
faults = [*outdated(made), *unsaid()]
if not made or len(quotes()) < MIN_QUOTES:
    faults.append("found too few texts: the search for them is broken")
print("\n".join(faults) or f"{len(made)} tables and {len(quotes())} quotes agree")
sys.exit(1 if faults else 0)
