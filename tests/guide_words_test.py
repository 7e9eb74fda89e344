"""The guide explains every sentence that the programs can say, and quotes none that they cannot."""

import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
GUIDE = "docs/trouble.md"

# Whose sentences are told to people, in the console or on a phone. Each of them has to be explained.
TELLERS = [
    "model/PlainFile.cpp", "model/ShowFile.cpp", "model/ShowFileReader.cpp",
    "relay/Announcer.cpp", "relay/Relay.cpp", "relay/Sentences.cpp", "relay/words/DurationInWords.cpp",
    "relay/confinement/Confinement.cpp",
    "relay/crew/CrewFolder.cpp", "relay/crew/KeptCertificate.cpp", "relay/link/MediaLibrary.cpp",
    "relay/net/SenderAddress.cpp", "relay/osc/AnnouncementReading.cpp", "relay/osc/OscPacket.cpp",
    "relay/speech/Speaker.cpp", "relay/speech/WavStream.cpp", "relay/IntercomServer.cpp",
    "server/ServerController.cpp", "relay/crew/page/sentences.js",
]  # fmt: skip

# Where else words come from that people see.
ROOMS = ["relay", "server", "panels", "model", "build_app.sh"]

NOT_TOLD = {
    "Wingbell show is running",  # to the desktop, which keeps it to itself
    "on it", "nobody yet",  # how many are on a role: no trouble
    # Quoted by its beginning, which is looked for.
    "You listen only: this page may not use the microphone. Allow it in the page’s settings "
    "(Safari: the page symbol beside the address, Website Settings, Microphone; Chrome and Firefox: "
    "the symbol left of the address, Permissions). Then",
}  # fmt: skip

TOKEN = re.compile(
    r"""//[^\n]*|/\*.*?\*/|^\s*\#[^\n]*|(?P<text>u?"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*'|`(?:\\.|[^`\\])*`)""",
    re.DOTALL | re.MULTILINE,
)
BETWEEN_PARTS = re.compile(r"[\s+]*(?:u(?=\"))?\Z")  # of one text that stands on several lines
VARIABLE = re.compile(r"%\d|\$\{[^}]*\}|…")
ENOUGH_TEXTS = 100


def source(path):
    with open(f"{ROOT}/{path}", encoding="utf-8") as file:
        return file.read()


def value(literal):
    text = literal[literal.index(literal[-1]) + 1 : -1]
    text = re.sub(r"\\u([0-9A-Fa-f]{4})", lambda found: chr(int(found.group(1), 16)), text)
    return re.sub(r"\\(.)", r"\1", text)


def texts_of(path):
    """What stands between quotes in a source, its parts joined."""
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
    """Its unchanging pieces, without the marks around them. What counts makes plurals of its own."""
    singular = re.sub(r"\b(more \w+)s\b", r"\1…", text)
    return [piece.strip(" .,;:()\"'") for piece in VARIABLE.split(singular)]


def is_sentence(piece):
    """Two words at least; a single one is looked up in no guide."""
    return " " in piece and re.search(r"\w\w", piece) is not None


def rows():
    for line in source(GUIDE).splitlines():
        if line.startswith("| ") and not line.startswith("|--"):
            yield line


def quotes_in(text):
    return re.findall(r"`([^`]+)`", text)


def quotes():
    """What the guide quotes as seen: in the first column of its tables."""
    return [quote for row in rows() for quote in quotes_in(row[2:].split(" | ")[0])]


def untold():
    """What a program says and the guide does not explain."""
    explained = {piece for row in rows() for quote in quotes_in(row) for piece in pieces_of(quote)}
    guide = "\n".join(explained)
    for path in TELLERS:
        for piece in (piece for text in texts_of(path) for piece in pieces_of(text)):
            if is_sentence(piece) and piece not in NOT_TOLD and piece not in guide:
                yield f"{path} says “{piece}”, which {GUIDE} does not explain"


def paths_in(room):
    if os.path.isfile(f"{ROOT}/{room}"):
        return [room]
    found = (os.path.join(place, name) for place, _, names in os.walk(f"{ROOT}/{room}") for name in names)
    return sorted(os.path.relpath(path, ROOT) for path in found)


def everything_said():
    said = []
    for path in (path for room in ROOMS for path in paths_in(room)):
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
            yield f"{GUIDE} quotes “{piece}”, which no program says"


count = sum(len(texts_of(path)) for path in TELLERS)
faults = [*untold(), *unsaid()]
if count < ENOUGH_TEXTS or len(quotes()) < ENOUGH_TEXTS:
    faults.append("found too few texts: the search for them is broken")
print("\n".join(faults) or f"{count} texts and {len(quotes())} quotes agree")
sys.exit(1 if faults else 0)
