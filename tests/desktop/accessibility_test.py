"""A screen reader can read and do everything over the accessibility bus."""

import desk  # makes the accessibility bus's interface known
from desk import Events, SHOW_FILE, has_state, role_name, saved_show, wait_until
from gi.repository import Atspi, Gio

CHECK_BOX = Atspi.Role.CHECK_BOX
SHOW = {
    "show": "Recital",
    "channels": ["Main", "Tech"],
    "roles": [
        {"name": "Stage Manager", "talk": ["Main", "Tech"], "listen": ["Main"]},
        {"name": "Director", "talk": [], "listen": ["Tech"]},
    ],
    "oscPort": 47123,
}
PATH = "/Users/Shared/Wingbell/roles.json"
OSC_HELP = (
    "Point a QLab Network (OSC) cue at this Mac's IP and this port. Address /wingbell/say (or "
    "/wingbell/say/ChannelName) with a string argument speaks it into the intercom."
)
WARNING = "Changes won't reach the show until you stop and restart the server."


def card_of(role):
    return [
        ("panel", role),
        ("text", "Role name"),
        ("push button", "Delete role"),
        ("panel", "TALKS ON"),
        ("check box", "Main"),
        ("check box", "Tech"),
        ("panel", "LISTENS ON"),
        ("check box", "Main"),
        ("check box", "Tech"),
    ]


def everything_is_there_by_its_name_and_nothing_else(window):
    # No bolt, no streak, no plate: what has nothing to say is not there.
    window.see_tree([
        ("application", "WingbellControl"),
        ("frame", "Wingbell Control"),
        ("heading", "Wingbell Control"),
        ("label", "Set up and run the show relay"),
        ("label", "STOPPED"),
        ("check box", "Intercom server"),
        ("label", "SHOW FILE"),
        ("label", PATH),
        ("push button", "Reveal in Finder"),
        ("label", "CONSOLE"),
        ("list", "Console"),
        ("panel", "SHOW NAME"),
        ("text", "Show name"),
        ("panel", "OSC (QLab)"),
        ("text", "Port"),
        ("label", OSC_HELP),
        ("panel", "CHANNELS"),
        ("list", "Channels, 2"),
        ("push button", "Main"),
        ("push button", "Tech"),
        ("text", "New channel name"),
        ("push button", "Add"),
        ("panel", "ROLES"),
        ("list", "Roles, 2"),
        *card_of("Stage Manager"),
        *card_of("Director"),
        ("push button", "Add Role"),
        ("push button", "Save Show"),
        ("push button", "Reload from File"),
        ("push button", "Minimise"),
        ("push button", "Maximise"),
        ("push button", "Close"),
    ])


def nothing_is_without_a_name(window):
    nameless = [node.get_role_name() for node in window.nodes() if not node.get_name().strip()]
    assert not nameless, nameless


def lists_report_what_is_out_of_sight(window):
    names = [f"Channel {number}" for number in range(1, 33)]
    roles = [{"name": f"Role {number}", "talk": names[:2], "listen": []} for number in range(1, 64)]
    roles.append({"name": " ", "talk": ["Channel 32"], "listen": ["Channel 1", "Left out", "Channel 3"]})
    desk.write_show({**SHOW, "channels": names, "roles": roles})
    window.press("Reload from File")
    channels = wait_until(lambda: window.find("Channels, 32", Atspi.Role.LIST), "the list of the channels")
    assert channels.get_description().split(",") == names
    cards = wait_until(lambda: window.find("Roles, 64", Atspi.Role.LIST), "the list of the roles")
    children = [cards.get_child_at_index(index) for index in range(cards.get_child_count())]
    assert [card.get_name() for card in children] == [*(f"Role {number}" for number in range(1, 64)), "Role without a name"]
    assert [children[index].get_description() for index in (0, 62, 63)] == [
        "Talks on: Channel 1, Channel 2. Listens on: no channel.",
        "Talks on: Channel 1, Channel 2. Listens on: no channel.",
        "Talks on: Channel 32. Listens on: Channel 1, Channel 3.",
    ]
    assert children[0].get_child_count() > 0 and children[40].get_child_count() == 0, "only near cards are made"
    nothing_is_without_a_name(window)
    window.press("Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
    window.press("Add Role")
    wait_until(lambda: window.find(WARNING, Atspi.Role.ALERT), "the warning")
    nothing_is_without_a_name(window)


def the_current_line_of_the_console_is_reported(window):
    window.press("Intercom server")
    window.see_line("Printable join card")
    window.wait_for_input()
    assert Atspi.Component.grab_focus(window.find("Console", Atspi.Role.LIST))
    window.wait_for_focus("Console")
    focused = Events("object:state-changed:focused")
    desk.keys("Home")
    first = window.console()[0]
    focused.wait_for("label", first, 1)
    desk.keys("Down")
    focused.wait_for("label", window.console()[1], 1)
    focused.wait_for("label", first, 0)
    line = window.see_line("Printable join card")
    while not has_state(window.find(line), Atspi.StateType.FOCUSED):
        desk.keys("Down")
    assert has_state(window.find(line), Atspi.StateType.SELECTED)
    desk.keys("Menu")
    address = line[line.index("https://"):]
    wait_until(lambda: window.find(f"Open {address}"), f"the menu to open {address}")
    nothing_is_without_a_name(window)
    focused.close()


def fields_report_their_text(window):
    for name, text in (("Show name", "Recital"), ("Port", "47123"), ("New channel name", "")):
        field = window.find(name, Atspi.Role.TEXT)
        assert has_state(field, Atspi.StateType.EDITABLE), name
        assert window.text_of(name) == text, (name, window.text_of(name))
    for role in ("Stage Manager", "Director"):
        card = window.find(role, Atspi.Role.PANEL)
        assert window.text_of("Role name", card) == role


def what_can_be_pressed_says_so_and_what_cannot_does_not(window):
    for node in window.nodes():
        actions = [node.get_action_name(index) for index in range(node.get_n_actions())]
        if role_name(node) == "push button":
            assert "Press" in actions, node.get_name()
        elif role_name(node) == "check box":
            assert "Toggle" in actions, node.get_name()
        else:
            assert not {"Press", "Toggle"} & set(actions), (node.get_name(), actions)


def what_is_not_available_says_so_and_does_nothing(window):
    add = window.find("Add", Atspi.Role.PUSH_BUTTON)
    assert add.get_description() == "Not available now", "there is nothing to add"
    assert not has_state(add, Atspi.StateType.FOCUSABLE)
    window.press("Add")
    assert window.save() == SHOW, saved_show()


def a_server_that_says_nothing_is_starting_and_cannot_be_switched(_window):
    lamp = Events("object:property-change:accessible-name")
    window = desk.Desk(desk.program_with_silent_server())
    window.press("Intercom server")
    lamp.wait_for("label", "STARTING")
    (server,) = wait_until(lambda: desk.children_of(window.process.pid), "the server")
    switch = window.find("Intercom server", CHECK_BOX)
    assert switch.get_description() == "Not available now"
    assert not has_state(switch, Atspi.StateType.CHECKED)
    window.press("Intercom server")
    window.save()  # whatever the press could have done is done by then
    assert desk.alive(server) and window.has("STARTING")
    desk.end_servers(window)
    window.see_line("■ Server exited (status 15).")
    wait_until(lambda: window.find("Intercom server").get_description() == "", "the switch to be available again")
    assert window.has("STOPPED")
    window.close()
    lamp.close()


def channel_chips_say_that_a_press_removes(window):
    section = window.find("CHANNELS", Atspi.Role.PANEL)
    for channel in ("Main", "Tech"):
        chip = window.find(channel, Atspi.Role.PUSH_BUTTON, section)
        assert chip.get_description() == "Removes the channel", chip.get_description()


def the_lamp_and_the_switch_tell_of_the_server(window):
    lamp = Events("object:property-change:accessible-name")
    checked = Events("object:state-changed:checked")
    switch = window.find("Intercom server", CHECK_BOX)
    assert not has_state(switch, Atspi.StateType.CHECKED)
    window.press("Intercom server")
    lamp.wait_for("label", "ON AIR")
    checked.wait_for("check box", "Intercom server", 1)
    wait_until(lambda: has_state(window.find("Intercom server"), Atspi.StateType.CHECKED), "the switch to be on")
    assert window.has("ON AIR") and not window.has("STOPPED")

    window.press("Intercom server")
    lamp.wait_for("label", "STOPPED")
    checked.wait_for("check box", "Intercom server", 0)
    wait_until(lambda: not has_state(window.find("Intercom server"), Atspi.StateType.CHECKED), "the switch to be off")
    lamp.close()
    checked.close()


def the_console_is_read_line_by_line(window):
    lines = Events("object:state-changed:showing")
    window.press("Intercom server")
    first = f"▶︎ Starting server with {PATH}…"
    window.see_line(first)
    lines.wait_for("label", first, 1)
    wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
    for text in ("Places, please", "Beginners to the stage"):
        desk.send_osc(47123, "/wingbell/say", text)
        window.see_line(text)
    told = window.console()
    order = [index for index, line in enumerate(told) if "Places, please" in line or "Beginners" in line]
    assert len(order) == 2 and "Places" in told[order[0]], told
    lines.close()
    window.press("Intercom server")
    window.see_line("■ Server stopped.")


def role_chips_tell_and_change_their_state(window):
    told = Events("object:state-changed:checked")
    for group, key, before in (("TALKS ON", "talk", []), ("LISTENS ON", "listen", ["Tech"])):
        card = window.find("Director", Atspi.Role.PANEL)
        row = window.find(group, Atspi.Role.PANEL, card)
        states = {chip: has_state(window.find(chip, CHECK_BOX, row), Atspi.StateType.CHECKED) for chip in ("Main", "Tech")}
        assert states == {chip: chip in before for chip in ("Main", "Tech")}, (group, states)

        told.told.clear()
        window.press("Main", CHECK_BOX, row)
        told.wait_for("check box", "Main", 1)
        assert window.save()["roles"][1][key] == before + ["Main"]
        told.told.clear()
        window.act(window.find("Main", CHECK_BOX, row), ("Toggle",))
        told.wait_for("check box", "Main", 0)
        assert window.save()["roles"][1][key] == before
    assert saved_show() == SHOW, saved_show()
    told.close()


def every_button_of_the_editor_does_what_it_says(window):
    # A field is focused over the bus and typed into as ever.
    window.wait_for_input()
    for name, text in (("Show name", "Gala"), ("Port", "48000"), ("New channel name", "Pit")):
        field = window.find(name, Atspi.Role.TEXT)
        assert Atspi.Component.grab_focus(field), name
        window.wait_for_focus(name)
        desk.keys("ctrl+a")
        desk.type_text(text)
        window.see_text(name, text)
    wait_until(lambda: has_state(window.find("Add"), Atspi.StateType.FOCUSABLE), "the name to be one to add")
    assert window.find("Add").get_description() == ""
    window.press("Add")
    window.see_text("New channel name", "")
    section = window.find("CHANNELS", Atspi.Role.PANEL)
    window.press("Tech", Atspi.Role.PUSH_BUTTON, section)
    window.press("Delete role", within=window.find("Director", Atspi.Role.PANEL))
    window.press("Add Role")
    wait_until(lambda: window.find("New Role", Atspi.Role.PANEL), "the new role's card")
    assert not window.find("Director", Atspi.Role.PANEL)
    assert window.save() == {
        "show": "Gala",
        "channels": ["Main", "Pit"],
        "roles": [
            {"name": "Stage Manager", "talk": ["Main"], "listen": ["Main"]},
            {"name": "New Role", "talk": [], "listen": []},
        ],
        "oscPort": 48000,
    }, saved_show()

    desk.write_show(SHOW)
    window.press("Reload from File")
    wait_until(lambda: window.find("Director", Atspi.Role.PANEL), "the roles of the file")
    window.see_text("Show name", "Recital")
    window.see_text("Port", "47123")
    assert window.save() == SHOW, saved_show()


def saving_is_reported_for_a_while(window):
    told = Events("object:property-change:accessible-name")
    window.press("Save Show")
    told.wait_for("push button", "Saved ✓")
    told.wait_for("push button", "Save Show")
    told.close()


def the_restart_warning_comes_and_goes(window):
    told = Events("object:state-changed:showing")
    window.press("Add Role")
    wait_until(lambda: window.find("New Role", Atspi.Role.PANEL), "the new role")
    assert not window.has(WARNING), "nothing runs"
    window.press("Intercom server")
    told.wait_for("alert", WARNING, 1)
    wait_until(lambda: window.find(WARNING, Atspi.Role.ALERT), "the warning")
    window.save()
    wait_until(lambda: not window.has(WARNING), "the warning to go")
    window.press("Add Role")
    wait_until(lambda: window.find(WARNING, Atspi.Role.ALERT), "the warning")
    window.press("Intercom server")
    wait_until(lambda: not window.has(WARNING), "the warning to go with the server")
    told.close()


def the_show_file_is_revealed_by_the_file_manager(window):
    asked = []
    interface = Gio.DBusNodeInfo.new_for_xml(
        "<node><interface name='org.freedesktop.FileManager1'><method name='ShowItems'>"
        "<arg type='as' direction='in'/><arg type='s' direction='in'/></method></interface></node>"
    ).interfaces[0]

    def show_items(_bus, _sender, _path, _interface, _method, parameters, invocation):
        asked.append(parameters.unpack()[0])
        invocation.return_value(None)

    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    bus.register_object("/org/freedesktop/FileManager1", interface, show_items, None, None)
    owner = []
    Gio.bus_own_name_on_connection(
        bus, "org.freedesktop.FileManager1", Gio.BusNameOwnerFlags.NONE, lambda *_: owner.append(True), None
    )
    wait_until(lambda: owner, "the name of the file manager")
    window.press("Reveal in Finder")
    wait_until(lambda: asked == [["file://" + SHOW_FILE]], f"the file to be shown; asked was {asked}")


def the_windows_own_buttons_work(window):
    identifier = window.wait_for_input()

    def state():
        return desk.output_of("xprop", "-id", identifier, "_NET_WM_STATE")

    window.press("Maximise")
    wait_until(lambda: "MAXIMIZED_VERT" in state() and "MAXIMIZED_HORZ" in state(), "the window to be maximised")
    window.press("Restore")
    wait_until(lambda: "MAXIMIZED" not in state() and window.has("Maximise"), "the window to be itself again")
    window.press("Minimise")
    wait_until(lambda: "HIDDEN" in state(), "the window to be minimised")
    window.press("Close")
    assert window.process.wait(desk.TIMEOUT) == 0


desk.run(
    everything_is_there_by_its_name_and_nothing_else,
    nothing_is_without_a_name,
    lists_report_what_is_out_of_sight,
    the_current_line_of_the_console_is_reported,
    fields_report_their_text,
    what_can_be_pressed_says_so_and_what_cannot_does_not,
    what_is_not_available_says_so_and_does_nothing,
    a_server_that_says_nothing_is_starting_and_cannot_be_switched,
    channel_chips_say_that_a_press_removes,
    the_lamp_and_the_switch_tell_of_the_server,
    the_console_is_read_line_by_line,
    role_chips_tell_and_change_their_state,
    every_button_of_the_editor_does_what_it_says,
    saving_is_reported_for_a_while,
    the_restart_warning_comes_and_goes,
    the_show_file_is_revealed_by_the_file_manager,
    the_windows_own_buttons_work,
    show=SHOW,
)
