"""Everything can be done with the keyboard alone, and fields edit text as usual."""

import desk
from desk import hold, keys, rest, saved_show, type_text, wait_until
from gi.repository import Atspi

SHOW = {
    "show": "Recital",
    "channels": ["Main", "Tech"],
    "roles": [
        {"name": "Stage Manager", "talk": ["Main", "Tech"], "listen": ["Main"]},
        {"name": "Director", "talk": [], "listen": ["Tech"]},
    ],
    "oscPort": 47123,
}
CARD = ["Role name", "Delete role", "Main", "Tech", "Main", "Tech"]
ORDER = [
    "Intercom server",
    "Reveal in Finder",
    "Console",
    "Show name",
    "Port",
    "Main",
    "Tech",
    "New channel name",
    *CARD,
    *CARD,
    "Add Role",
    "Save Show",
    "Reload from File",
    "Minimise",
    "Maximise",
    "Close",
]


def tab_to(window, name):
    """Presses Tab until the accessible with that name has the focus."""
    window.wait_for_input()
    for _ in range(3 * len(ORDER)):  # twice around, with what a test has added
        before = focus_of(window)
        if before and before.get_name() == name:
            return before
        step(window, "Tab")
    raise AssertionError(f"Tab does not reach {name}")


def focus_of(window):
    found = window.focused()
    assert len(found) < 2, [node.get_name() for node in found]
    return found[0] if found else None


def step(window, key):
    """Presses the key and returns what has the focus once it has moved."""
    before = focus_of(window)

    def moved():
        now = focus_of(window)
        return now if now is not None and now != before else None

    keys(key)
    return wait_until(moved, f"the focus to move by {key} from {before and before.get_name()}")


def see(window, name, text):
    window.see_text(name, text)


def tab_goes_through_everything_and_back(window):
    window.wait_for_input()
    forth = [step(window, "Tab") for _ in ORDER]
    assert [node.get_name() for node in forth] == ORDER, [node.get_name() for node in forth]
    assert step(window, "Tab") == forth[0], "after the last comes the first"
    assert step(window, "shift+Tab") == forth[-1]
    back = [step(window, "shift+Tab") for _ in ORDER[1:]]
    assert back == forth[-2::-1], [node.get_name() for node in back]


def what_gets_the_focus_comes_into_sight(window):
    for name in ("Add Role", "Reload from File"):
        node = tab_to(window, name)
        wait_until(lambda shown=node: desk.has_state(shown, Atspi.StateType.SHOWING), f"{name} to be in sight")
    node = tab_to(window, "Show name")
    wait_until(lambda: desk.has_state(node, Atspi.StateType.SHOWING), "the name to be in sight again")


def space_and_return_press(window):
    tab_to(window, "Intercom server")
    keys("space")
    wait_until(lambda: window.has("ON AIR"), "the switch to start")
    rest()
    keys("Return")
    wait_until(lambda: window.has("STOPPED"), "the switch to stop")
    rest()
    keys("KP_Enter")
    wait_until(lambda: window.has("ON AIR"), "the switch to start again")
    desk.end_servers(window)
    wait_until(lambda: window.has("STOPPED"), "the server's end")

    talks = window.find("TALKS ON")
    tab_to(window, "Role name")
    step(window, "Tab")
    step(window, "Tab")
    for key, talk in (("space", ["Tech"]), ("Return", ["Tech", "Main"])):
        keys(key)
        chip = window.find("Main", within=talks)
        wait_until(lambda: desk.has_state(chip, Atspi.StateType.CHECKED) == ("Main" in talk), f"the chip by {key}")
        assert window.focused() == [chip], "a pressed chip keeps the focus"
        assert window.save()["roles"][0]["talk"] == talk, saved_show()

    tab_to(window, "Add Role")
    keys("Return")
    wait_until(lambda: window.find("New Role", Atspi.Role.PANEL), "the new role")
    wait_until(lambda: window.has("Save Show"), "the button to be itself again")
    tab_to(window, "Save Show")
    desk.os.remove(desk.SHOW_FILE)
    keys("space")
    wait_until(lambda: saved_show() and len(saved_show()["roles"]) == 3, "the saved show")


def a_pressed_button_that_goes_leaves_the_keyboard_usable(window):
    chips = window.find("CHANNELS")
    tab_to(window, "Port")
    step(window, "Tab")
    keys("space")
    wait_until(lambda: not window.find("Main", within=chips), "the channel to go")
    window.wait_for_focus("Tech")
    tab_to(window, "Role name")
    step(window, "Tab")
    keys("Return")
    wait_until(lambda: not window.find("Stage Manager"), "the role to go")
    window.wait_for_focus("Delete role")
    type_text("q w")
    assert [role["name"] for role in window.save()["roles"]] == ["Director"]


def a_held_key_is_one_press(window):
    tab_to(window, "Intercom server")
    for name, state in (("space", "ON AIR"), ("Return", "STOPPED")):
        hold(name)
        wait_until(lambda: window.has(state), f"{state} by {name}")
    assert len([line for line in window.console() if "Stopping" in line]) == 1, window.console()

    tab_to(window, "Port")
    assert step(window, "Tab").get_name() == "Main"
    hold("space")
    window.wait_for_focus("Tech")
    tab_to(window, "New channel name")
    type_text("Pit")
    assert step(window, "Tab").get_name() == "Add"
    hold("space")
    window.wait_for_focus("New channel name")
    see(window, "New channel name", "")
    tab_to(window, "Delete role")
    hold("Return")
    window.wait_for_focus("Delete role")
    tab_to(window, "Add Role")
    hold("Return")
    window.wait_for_focus("Add Role")
    show = window.save()
    assert show["channels"] == ["Tech", "Pit"], show
    assert [role["name"] for role in show["roles"]] == ["Director", "New Role"], show

    # Typing continues, and choosing a menu entry types nothing in the field.
    tab_to(window, "New channel name")
    hold("a")
    wait_until(lambda: len(window.text_of("New channel name")) > 5, "the letter again and again")
    keys("ctrl+a", "Menu")
    entry(window, "Copy")
    keys("Down")
    wait_until(lambda: entry(window, "Cut") in window.focused(), "Cut to be chosen")
    hold("space")
    wait_until(lambda: menu_closed(window), "the menu to close")
    window.wait_for_focus("New channel name")
    see(window, "New channel name", "")


def a_click_leaves_the_focus_and_a_double_click_is_one(window):
    window.wait_for_input()
    desk.click(window.find("Show name", Atspi.Role.TEXT))
    window.wait_for_focus("Show name")
    x, y = desk.middle_of(window.find("Intercom server"))
    desk.xdotool("mousemove", x, y, "click", "--repeat", 2, "--delay", 120, 1)
    wait_until(lambda: window.has("ON AIR"), "the first click to start")
    keys("space")
    see(window, "Show name", "Recital ")
    rest()
    desk.xdotool("click", "--repeat", 2, "--delay", 120, 1)
    wait_until(lambda: window.has("STOPPED"), "the next to stop")
    assert len([line for line in window.console() if "Stopping" in line]) == 1, window.console()
    x, y = desk.middle_of(window.find("Main", within=window.find("CHANNELS")))
    desk.xdotool("mousemove", x, y, "click", "--repeat", 2, "--delay", 120, 1)
    wait_until(lambda: not window.find("Main"), "the channel to go")
    window.wait_for_focus("Show name")
    # The button is released over something other than what was pressed.
    switch = desk.middle_of(window.find("Intercom server"))
    desk.xdotool("mousemove", *switch, "click", 1)
    wait_until(lambda: window.has("ON AIR"), "the switch to start")
    rest()
    desk.xdotool("mousedown", 1)
    desk.end_servers(window)
    wait_until(lambda: window.has("STOPPED"), "the server's end")
    desk.xdotool("mouseup", 1)
    assert window.save()["channels"] == ["Tech"], saved_show()
    assert window.has("STOPPED"), window.console()


def return_in_the_channel_field_adds(window):
    tab_to(window, "New channel name")
    type_text("  Fly Floor ")
    see(window, "New channel name", "  Fly Floor ")
    keys("Return")
    see(window, "New channel name", "")
    wait_until(lambda: window.find("Fly Floor", Atspi.Role.PUSH_BUTTON), "the chip")
    # An existing name, and no name: the field is cleared, nothing else happens.
    for text in ("Main", "   "):
        type_text(text)
        see(window, "New channel name", text)
        keys("KP_Enter")
        see(window, "New channel name", "")
    window.wait_for_focus("New channel name")
    assert window.save()["channels"] == ["Main", "Tech", "Fly Floor"], saved_show()


def fields_know_the_usual_editing_keys(window):
    tab_to(window, "Show name")
    keys("ctrl+a")
    type_text("Gala")
    see(window, "Show name", "Gala")
    keys("Home")
    type_text("A ")
    see(window, "Show name", "A Gala")
    keys("End")
    type_text("!")
    see(window, "Show name", "A Gala!")
    keys("ctrl+z")
    see(window, "Show name", "A Gala")
    keys("ctrl+shift+z")
    see(window, "Show name", "A Gala!")
    keys("BackSpace")
    see(window, "Show name", "A Gala")
    keys("Home")
    keys("Delete")
    see(window, "Show name", " Gala")
    keys("ctrl+a")
    keys("ctrl+c")
    keys("End")
    keys("ctrl+v")
    see(window, "Show name", " Gala Gala")
    keys("ctrl+Left")
    keys("shift+End")
    keys("ctrl+x")
    see(window, "Show name", " Gala ")
    tab_to(window, "New channel name")
    keys("ctrl+v")
    see(window, "New channel name", "Gala")
    assert window.save()["show"] == " Gala ", saved_show()


def a_role_is_renamed_in_the_middle_of_its_name(window):
    tab_to(window, "Role name")
    card = window.find("Stage Manager", Atspi.Role.PANEL)
    keys("Home")
    for _ in "Stage":
        keys("Right")
    for typed in ("StageX Manager", "StageXY Manager", "StageXYZ Manager"):
        type_text(typed[typed.index(" ") - 1])
        window.see_text("Role name", typed, card)
    keys("BackSpace")
    window.see_text("Role name", "StageXY Manager", card)
    assert window.save()["roles"][0]["name"] == "StageXY Manager", saved_show()


def an_invalid_port_stays_in_the_field_and_out_of_the_show(window):
    tab_to(window, "Port")
    keys("ctrl+a")
    type_text("65536")
    keys("Return")
    see(window, "Port", "65536")
    assert window.save()["oscPort"] == 47123, saved_show()
    see(window, "Port", "47123")


def edits_are_undone_wherever_the_focus_is(window):
    def roles():
        return [role["name"] for role in window.save()["roles"]]

    tab_to(window, "Add Role")
    keys("Return")
    tab_to(window, "Role name")
    keys("End")
    type_text("!")
    window.see_text("Role name", "Stage Manager!", window.find("Stage Manager!", Atspi.Role.PANEL))
    keys("ctrl+z")
    wait_until(lambda: window.find("Stage Manager", Atspi.Role.PANEL), "the name to be as it was")
    assert roles() == ["Stage Manager", "Director", "New Role"], saved_show()
    keys("ctrl+z")
    wait_until(lambda: not window.find("New Role", Atspi.Role.PANEL), "the new role to go")
    tab_to(window, "Console")
    keys("ctrl+shift+z")
    wait_until(lambda: window.find("New Role", Atspi.Role.PANEL), "the new role to come back")
    assert roles() == ["Stage Manager", "Director", "New Role"], saved_show()


def entry(window, name):
    found = wait_until(lambda: window.find(name, Atspi.Role.MENU_ITEM), f"the menu's {name}")
    wait_until(lambda: desk.has_state(found, Atspi.StateType.SHOWING), f"the menu's {name} to be seen")
    return found


def menu_closed(window):
    return not [node for node in window.nodes() if node.get_role() == Atspi.Role.MENU_ITEM]


def fields_have_a_menu_for_the_mouse(window):
    window.wait_for_input()
    field = window.find("Show name", Atspi.Role.TEXT)

    def choose(name):
        desk.click(field, button=3)
        desk.click(entry(window, name))
        wait_until(lambda: menu_closed(window), "the menu to close")

    desk.click(field, button=3)
    entry(window, "Select All")
    names = [node.get_name() for node in window.nodes() if node.get_role() == Atspi.Role.MENU_ITEM]
    assert names == ["Cut", "Copy", "Paste", "Select All"], names
    keys("Escape")
    wait_until(lambda: menu_closed(window), "the menu to close")

    choose("Select All")
    choose("Copy")
    see(window, "Show name", "Recital")
    choose("Select All")
    choose("Cut")
    see(window, "Show name", "")
    choose("Paste")
    see(window, "Show name", "Recital")
    window.wait_for_focus("Show name")
    assert window.save() == SHOW, saved_show()

    # A press outside the open menu goes to what is there.
    desk.click(field, button=3)
    entry(window, "Cut")
    desk.click(window.find("Port", Atspi.Role.TEXT))
    wait_until(lambda: menu_closed(window), "the menu to close")
    window.wait_for_focus("Port")


def fields_have_a_menu_for_the_keys(window):
    tab_to(window, "Show name")

    def choose(name):
        keys("Menu")
        wanted = entry(window, name)
        wait_until(lambda: [n for n in window.focused() if n.get_role() == Atspi.Role.POPUP_MENU], "keys to go to the menu")
        keys("Down")  # to the first enabled entry
        wait_until(lambda: wanted in window.focused(), f"{name} to be chosen")
        keys("Return")
        wait_until(lambda: menu_closed(window), "the menu to close")
        window.wait_for_focus("Show name")

    choose("Select All")
    choose("Cut")
    see(window, "Show name", "")
    choose("Paste")
    choose("Paste")
    see(window, "Show name", "RecitalRecital")
    assert window.save()["show"] == "RecitalRecital", saved_show()


def a_line_of_the_console_is_copied_by_its_menu(window):
    window.press("Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
    desk.send_osc(47123, "/wingbell/say", "Places")
    line = window.see_line("Places")
    window.wait_for_input()
    console = window.find("Console", Atspi.Role.LIST)
    wait_until(lambda: desk.is_inside(window.find(line), console), "the console to scroll to the line")
    desk.click(window.find(line), button=3)
    desk.click(entry(window, "Copy"))
    wait_until(lambda: menu_closed(window), "the menu to close")
    desk.click(window.find("New channel name", Atspi.Role.TEXT))
    window.wait_for_focus("New channel name")
    keys("ctrl+v")
    see(window, "New channel name", line)
    desk.end_servers(window)


desk.run(
    tab_goes_through_everything_and_back,
    what_gets_the_focus_comes_into_sight,
    space_and_return_press,
    a_pressed_button_that_goes_leaves_the_keyboard_usable,
    a_held_key_is_one_press,
    a_click_leaves_the_focus_and_a_double_click_is_one,
    return_in_the_channel_field_adds,
    fields_know_the_usual_editing_keys,
    a_role_is_renamed_in_the_middle_of_its_name,
    an_invalid_port_stays_in_the_field_and_out_of_the_show,
    edits_are_undone_wherever_the_focus_is,
    fields_have_a_menu_for_the_mouse,
    fields_have_a_menu_for_the_keys,
    a_line_of_the_console_is_copied_by_its_menu,
    show=SHOW,
)
