"""Every file, picture, heading and test that the README, CONTRIBUTING and the guide point to exists."""

import os
import re
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
FENCE = re.compile(r"^```.*?^```", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\]\(([^)\s]+)\)|src=\"([^\"]+)\"")
LARGEST_PICTURE = 150_000  # bytes: a guide is also read over a slow network


def documents():
    guide = sorted(f"docs/{name}" for name in os.listdir(f"{ROOT}/docs") if name.endswith(".md"))
    return ["README.md", "CONTRIBUTING.md", "tests/bad-nights.md", *guide]


def text_of(document):
    with open(f"{ROOT}/{document}", encoding="utf-8") as file:
        return FENCE.sub("", file.read())


def links_of(document):
    return [first or second for first, second in LINK.findall(text_of(document))]


def anchors_of(document):
    """The anchors that the code's host makes of headings."""
    anchors = set()
    for heading in re.findall(r"^#+ (.+)$", text_of(document), re.MULTILINE):
        words = re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-")
        number = 0
        while words + (f"-{number}" if number else "") in anchors:
            number += 1
        anchors.add(words + (f"-{number}" if number else ""))
    return anchors


def fault_of(document, link):
    """What is wrong with a link; None if it is correct."""
    if re.match(r"[a-z]+:", link):
        return None
    path, _, anchor = link.partition("#")
    target = os.path.normpath(os.path.join(os.path.dirname(document), path)) if path else document
    if not os.path.exists(f"{ROOT}/{target}"):
        return f"{document}: there is no {target}"
    if anchor and anchor not in anchors_of(target):
        return f"{document}: {target} has no heading for #{anchor}"
    return None


def faults_of_pictures():
    named = {os.path.normpath(os.path.join(os.path.dirname(page), link)) for page in documents() for link in links_of(page)}
    for name in sorted(os.listdir(f"{ROOT}/docs/pictures")):
        picture = f"docs/pictures/{name}"
        if picture not in named:
            yield f"no document shows {picture}"
        if os.path.getsize(f"{ROOT}/{picture}") > LARGEST_PICTURE:
            yield f"{picture} is larger than {LARGEST_PICTURE} bytes"


def faults_of_tests():
    """A row that says by which tests something was tried: each of them is in the file named before it."""
    for file, names in re.findall(r"\[\w+\]\(([^)]+)\): ((?:`\w+`(?:, )?)+)", text_of("tests/bad-nights.md")):
        with open(f"{ROOT}/tests/{file}", encoding="utf-8") as tests:
            code = tests.read()
        for name in re.findall(r"\w+", names):
            if not re.search(rf"\b{name}\(", code):
                yield f"tests/bad-nights.md: {file} has no test {name}"


links = [(document, link) for document in documents() for link in links_of(document)]
faults = [fault for document, link in links if (fault := fault_of(document, link))]
faults += faults_of_pictures()
faults += faults_of_tests()
if len(links) < 100:
    faults.append(f"found {len(links)} links only: the search for them is broken")
print("\n".join(faults) or f"{len(links)} links, all of them lead to something")
sys.exit(1 if faults else 0)
