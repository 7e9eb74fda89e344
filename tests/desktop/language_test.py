"""The window uses the desktop's language; the server's output and the show are not translated."""

import os

import desk
from desk import Desk, saved_show, wait_until
from gi.repository import Atspi

SHOW = {
    "show": "Recital",
    "channels": ["Main", "Close"],
    "roles": [{"name": "Add Role", "talk": ["Main"], "listen": ["Close"]}],
    "oscPort": 47123,
}
PATH = "/Users/Shared/Wingbell/roles.json"
OSC_HELP = (
    "Richten Sie in QLab einen Network-Cue (OSC) auf die IP dieses Computers und diesen Port. An /wingbell/say (oder "
    "/wingbell/say/Kanalname) als String-Argument gesendeter Text wird in die Sprechanlage gesprochen."
)
WARNING = "Änderungen erreichen die Show erst, wenn Sie den Server stoppen und neu starten."
GERMAN, ENGLISH = "Show speichern", "Save Show"
# The language settings of a desktop, and the expected language. The system need not have the locale.
DESKTOPS = (
    ({"LANG": "de_DE.UTF-8"}, GERMAN),
    ({"LANG": "de_AT.UTF-8"}, GERMAN),
    ({"LANG": "de_CH"}, GERMAN),
    ({"LANG": "en_US.UTF-8", "LC_MESSAGES": "de_DE.UTF-8"}, GERMAN),
    ({"LANG": "fr_FR.UTF-8", "LANGUAGE": "fr:de"}, GERMAN),
    ({"LANG": "en_GB.UTF-8", "LANGUAGE": "en_GB:de"}, ENGLISH),
    ({"LANG": "de_DE.UTF-8", "LC_ALL": "en_US.UTF-8"}, ENGLISH),
    ({"LANG": "fr_FR.UTF-8"}, ENGLISH),
    ({}, ENGLISH),
)


def speak(settings):
    """Programs started from now on have a desktop with these language settings."""
    for name in ("LANG", "LANGUAGE", "LC_ALL", "LC_MESSAGES"):
        os.environ.pop(name, None)
    os.environ.update(settings)


def everything_is_german_and_what_is_verbatim_is_not(window):
    window.see_tree([
        ("application", "WingbellControl"),
        ("frame", "Wingbell Control"),
        ("heading", "Wingbell Control"),
        ("label", "Sprechanlage der Show einrichten und betreiben"),
        ("label", "GESTOPPT"),
        ("check box", "Server der Sprechanlage"),
        ("label", "SHOW-DATEI"),
        ("label", PATH),
        ("push button", "Im Dateimanager zeigen"),
        ("label", "KONSOLE"),
        ("list", "Konsole"),
        ("panel", "NAME DER SHOW"),
        ("text", "Name der Show"),
        ("panel", "OSC (QLab)"),
        ("text", "Port"),
        ("label", OSC_HELP),
        ("panel", "KANÄLE"),
        ("list", "Kanäle, 2"),
        ("push button", "Main"),
        ("push button", "Close"),  # a channel that is called as a button is
        ("text", "Name des neuen Kanals"),
        ("push button", "Hinzufügen"),
        ("panel", "ROLLEN"),
        ("list", "Rollen, 1"),
        ("panel", "Add Role"),
        ("text", "Name der Rolle"),
        ("push button", "Rolle löschen"),
        ("panel", "TALKS ON"),
        ("check box", "Main"),
        ("check box", "Close"),
        ("panel", "LISTENS ON"),
        ("check box", "Main"),
        ("check box", "Close"),
        ("push button", "Rolle hinzufügen"),
        ("push button", "Show speichern"),
        ("push button", "Aus der Datei neu laden"),
        ("push button", "Minimieren"),
        ("push button", "Maximieren"),
        ("push button", "Schließen"),
    ])
    assert window.find("Hinzufügen").get_description() == "Zurzeit nicht verfügbar"
    channels = window.find("KANÄLE", Atspi.Role.PANEL)
    assert window.find("Main", within=channels).get_description() == "Entfernt den Kanal"
    assert window.text_of("Port") == "47123", "a number that a machine reads has no grouping"


def a_show_runs_in_german_and_the_console_says_what_the_server_says(window):
    window.press("Server der Sprechanlage")
    window.see_line(f"▶︎ Starting server with {PATH}…")
    wait_until(lambda: window.has("AUF SENDUNG"), "the lamp to say that the show is on air")
    desk.send_osc(47123, "/wingbell/say", "Places, please")
    window.see_line("Places, please")

    window.press("Rolle hinzufügen")
    wait_until(lambda: window.find("New Role", Atspi.Role.PANEL), "the new role, as it is stored")
    wait_until(lambda: window.find(WARNING, Atspi.Role.ALERT), "the warning")
    window.press("Show speichern")
    wait_until(lambda: window.has("Gespeichert ✓"), "the save to be told")
    wait_until(lambda: not window.has(WARNING), "the warning to go")
    added = {"name": "New Role", "talk": [], "listen": []}
    assert saved_show() == {**SHOW, "roles": [*SHOW["roles"], added]}, saved_show()

    window.press("Server der Sprechanlage")
    window.see_line("■ Stopping…")
    window.see_line("■ Server stopped.")
    wait_until(lambda: window.has("GESTOPPT"), "the lamp to say that the server has stopped")


def the_menu_of_a_field_is_german(window):
    window.wait_for_input()
    desk.click(window.find("Name der Show", Atspi.Role.TEXT), 3)
    for entry in ("Ausschneiden", "Kopieren", "Einfügen", "Alles auswählen"):
        wait_until(lambda name=entry: window.has(name), entry)


def the_desktop_says_which_language_it_is(window):
    window.close()
    for settings, name in DESKTOPS:
        speak(settings)
        other = Desk(ready=name)
        said = other.find(GERMAN if name == ENGLISH else ENGLISH)
        other.close()
        assert said is None, settings


speak({"LANG": "de_DE.UTF-8", "LANGUAGE": "de"})
desk.run(
    everything_is_german_and_what_is_verbatim_is_not,
    a_show_runs_in_german_and_the_console_says_what_the_server_says,
    the_menu_of_a_field_is_german,
    the_desktop_says_which_language_it_is,
    show=SHOW,
    ready=GERMAN,
)
