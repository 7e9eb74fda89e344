#!/usr/bin/env python3
"""Every text that the window shows or speaks can be translated, and every translation is complete.

    texts_test.py LUPDATE LRELEASE
"""

import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as xml
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
ROOMS = ("app", "panels", "look")
TRANSLATIONS = ROOT / "app" / "translations"

# Shown as they are in every language.
VERBATIM = {
    ("ControlHeader.qml", "Wingbell Control"),  # the product's name
    ("RoleCard.qml", "TALKS ON"),  # the two lists of a role, by their fixed names
    ("RoleCard.qml", "LISTENS ON"),
    ("RoleCardSlot.qml", "${talks} ${listens}"),  # two sentences, each translated
    ("ShowSetupPanel.qml", "47000"),  # the port that a show has unless it says another
}

# Properties and functions whose strings are not shown: colours, symbols, internal names, files.
UNREAD = {
    "border.color", "color", "fill", "icon", "name", "objectName", "outline", "plateColor", "property", "sequence",
    "selectedTextColor", "source", "symbol", "textColor", "tint",
    "Qt.darker", "Qt.lighter", "Theme.faded", "setSource", "setup.setSource", "strip.setSource",
}  # fmt: skip

TOKEN = re.compile(
    r"""(?P<comment>//[^\n]*|/\*.*?\*/)
      | (?P<string>"(?:\\.|[^"\\\n])*"|'(?:\\.|[^'\\\n])*'|`(?:\\.|[^`\\])*`)
      | (?P<owner>[A-Za-z_][\w.]*(?=:\ |\ =\ ))
      | (?P<word>[A-Za-z_][\w.]*)
      | (?P<mark>[()\n])""",
    re.VERBOSE | re.DOTALL,
)


def escaping_texts(name, source):
    """The strings of a view that are shown or spoken and cannot be translated."""
    escaping = []
    calls = []  # the names before the brackets that are open
    owner = word = ""  # the property of this line, the last name
    for token in TOKEN.finditer(source):
        kind, text = token.lastgroup, token.group()
        if kind == "owner":
            owner = text
        elif text == "\n":
            owner = ""
        elif text == "(":
            calls.append(word)
        elif text == ")":
            calls.pop()
        elif kind == "string":
            known = owner in UNREAD or any(call == "qsTr" or call in UNREAD for call in calls)
            if text[1:-1] and not known and (name, text[1:-1]) not in VERBATIM:
                escaping.append(text[1:-1])
        word = text if kind == "word" else ""
    return escaping


def views():
    found = [view for room in ROOMS for view in sorted((ROOT / room).rglob("*.qml"))]
    assert len(found) > 20, f"found {len(found)} views only: the search for them is broken"
    return found


def catalogues():
    found = sorted(TRANSLATIONS.glob("wingbell_*.ts"))
    assert found, "there are no translations"
    return found


def a_text_that_cannot_be_translated_is_found():
    for line in (
        'text: "Foo"',
        'Accessible.name: "Foo"',
        'Accessible.description: enabled ? "" : "Foo"',
        'text: saved ? qsTr("Saved") : "Foo"',
        'text: qsTr("Saved") + "Foo"',
        'placeholderText: "Foo"',
        'property string caption: "Foo"',
        "text: 'Foo'",
        "text: `Foo`",
        'label.text = "Foo";',
        'color: "white"\n return "Foo";',
        'say("Foo")',
        'text: "TALKS ON"; hint: "Foo"',
    ):
        found = escaping_texts("RoleCard.qml", line)
        assert found == ["Foo"], (line, found)


def what_is_translated_or_never_read_is_not_found():
    for line in (
        'text: qsTr("Foo")',
        'text: qsTr("Foo").arg(name)',
        'text: saved ? qsTr("Foo") : qsTr("Bar")',
        'color: pressed ? "black" : Theme.faded("white", 0.6)',
        'objectName: "save"',
        '// says "Foo"',
        '/* "Foo" */',
        'title: "TALKS ON"',
        'text: ""',
    ):
        assert not escaping_texts("RoleCard.qml", line), line


def every_text_of_a_view_can_be_translated():
    escaping = {view.name: escaping_texts(view.name, view.read_text(encoding="utf-8")) for view in views()}
    escaping = {view: texts for view, texts in escaping.items() if texts}
    assert not escaping, f"not in qsTr, and not named here as verbatim: {escaping}"


def every_verbatim_text_is_still_there():
    for name, text in VERBATIM:
        sources = [view.read_text(encoding="utf-8") for view in views() if view.name == name]
        assert any(f'"{text}"' in source or f"`{text}`" in source for source in sources), (name, text)


def texts_stand_in_views_only():
    for room in ROOMS:
        for source in sorted((ROOT / room).rglob("*.cpp")) + sorted((ROOT / room).rglob("*.h")):
            found = re.findall(r"(?:\btr|::translate|\bQT_TR\w*)\(", source.read_text(encoding="utf-8"))
            assert not found, f"{source.name}: a text in C++ is in no catalogue"


def every_text_is_in_every_catalogue(lupdate):
    """What the views say now is what was translated: bringing a catalogue up to date changes nothing."""
    with tempfile.TemporaryDirectory() as folder:
        for catalogue in catalogues():
            copy = Path(folder) / catalogue.name
            copy.write_bytes(catalogue.read_bytes())
            subprocess.run([TRANSLATIONS / "update.sh", lupdate, copy], check=True)
            assert copy.read_bytes() == catalogue.read_bytes(), (
                f"{catalogue.name} is behind the views: cmake --build build --target update_translations"
            )


def every_text_is_translated(lrelease):
    with tempfile.TemporaryDirectory() as folder:
        for catalogue in catalogues():
            told = subprocess.run(
                [lrelease, catalogue, "-qm", Path(folder) / "catalogue.qm"],
                check=True, capture_output=True, text=True,
            )  # fmt: skip
            count = len(messages(catalogue))
            assert f"({count} finished and 0 unfinished)" in told.stdout and not told.stderr, (
                catalogue.name, told.stdout, told.stderr,
            )  # fmt: skip


def messages(catalogue):
    found = list(xml.parse(catalogue).getroot().iter("message"))
    assert len(found) > 30, f"{catalogue.name}: {len(found)} texts only"
    return found


def every_text_tells_its_translator_what_it_is():
    for catalogue in catalogues():
        for message in messages(catalogue):
            assert message.findtext("extracomment"), f'{message.findtext("source")}: a line "//: ..." before it is missing'


def translations_keep_what_is_for_machines():
    """Addresses, signs and places for values are the same on both sides."""
    kept = re.compile(r"/wingbell/say|%[L0-9n]+|\u2713|\(QLab\)")
    for catalogue in catalogues():
        for message in messages(catalogue):
            source, translation = message.findtext("source"), message.findtext("translation")
            assert kept.findall(source) == kept.findall(translation), (catalogue.name, source, translation)
            assert translation == translation.strip(), (catalogue.name, translation)


def main(lupdate, lrelease):
    a_text_that_cannot_be_translated_is_found()
    what_is_translated_or_never_read_is_not_found()
    every_text_of_a_view_can_be_translated()
    every_verbatim_text_is_still_there()
    texts_stand_in_views_only()
    every_text_is_in_every_catalogue(lupdate)
    every_text_is_translated(lrelease)
    every_text_tells_its_translator_what_it_is()
    translations_keep_what_is_for_machines()


main(*sys.argv[1:])
