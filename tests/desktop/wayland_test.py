"""On a Wayland desktop the window opens, is worked and is seen as on any other."""

import desk
from desk import Atspi, keys, output_of, saved_show, type_text, wait_until, xdotool
from wayland_screen import SIZE, frame_size, near, pixels, the_screen

SHOW = {
    "show": "Recital",
    "channels": ["Main", "Tech"],
    "roles": [{"name": "Stage Manager", "talk": [], "listen": ["Main"]}],
    "oscPort": 47123,
}
GOLD = (222, 178, 92)
STAGE = (15, 9, 9)


def to_the_whole_screen(window):
    """Maximises the window, so that its places are those of the screen; gives back the screen's corner."""
    window.press("Maximise")
    wait_until(lambda: frame_size(window) == SIZE, f"the whole screen; it is {frame_size(window)}")
    wait_until(lambda: window.has("Restore"), "the button to restore")
    _, left, top = the_screen()
    xdotool("mousemove", 0, 0)  # the compositor knows a pointer that has come in from outside
    return left, top


def place_in_window(node):
    place = Atspi.Component.get_extents(node, Atspi.CoordType.SCREEN)
    return place.x + place.width // 2, place.y + place.height // 2


def it_runs_on_wayland_in_its_size(window):
    assert frame_size(window) == (820, 760), frame_size(window)
    windows = output_of("xdotool", "search", "--pid", str(window.process.pid)).split()
    assert not windows, "it has windows of the X server"


def a_show_goes_on_air_and_off_again(window):
    assert window.has("STOPPED")
    window.press("Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the lamp to say ON AIR")
    desk.send_osc(47123, "/wingbell/say", "Places, please")
    window.see_line("Places, please")
    window.press("Intercom server")
    window.see_line("■ Server stopped.")
    wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")


def the_keyboard_works_it(window):
    identifier, _, _ = the_screen()
    wait_until(lambda: output_of("xdotool", "getactivewindow") == identifier, "the screen to have the keyboard")
    keys("Tab")
    window.wait_for_focus("Intercom server")
    keys("Tab", "Tab", "Tab")
    window.wait_for_focus("Show name")
    keys("ctrl+a")
    type_text("Gala")
    window.see_text("Show name", "Gala")
    keys("ctrl+a", "ctrl+c", "End", "ctrl+v")
    window.see_text("Show name", "GalaGala")
    assert window.save()["show"] == "GalaGala", saved_show()


def the_mouse_works_it(window):
    left, top = to_the_whole_screen(window)
    x, y = place_in_window(window.find("Intercom server"))
    xdotool("mousemove", left + x, top + y, "click", 1)
    wait_until(lambda: window.has("ON AIR"), "the click to start the server")
    desk.end_servers(window)
    wait_until(lambda: window.has("STOPPED"), "the server's end")
    xdotool("mousemove", left + 200, top + 30, "click", "--repeat", 2, "--delay", 40, 1)
    wait_until(lambda: frame_size(window) == (820, 760), f"the size from before; it is {frame_size(window)}")
    wait_until(lambda: window.has("Maximise"), "the button to maximise")


def a_drag_by_the_header_leaves_it_usable(window):
    left, top = to_the_whole_screen(window)
    xdotool("mousemove", left + 200, top + 30, "mousedown", 1)
    for step in range(1, 11):
        xdotool("mousemove", left + 200 + 4 * step, top + 30 + 4 * step)
    xdotool("mouseup", 1)
    window.press("Intercom server")
    wait_until(lambda: window.has("ON AIR"), "the switch to start the server")
    desk.end_servers(window)
    wait_until(lambda: window.has("STOPPED"), "the server's end")


def it_is_seen(window):
    to_the_whole_screen(window)

    def drawn():
        rows = pixels(0, 0, *SIZE)
        # Below the header, at the left edge, there is nothing but the stage; the switch is green.
        stage = all(near(rows[y][4], STAGE) for y in range(400, 900, 20))
        gold = sum(near(pixel, GOLD) for row in rows for pixel in row)
        return stage and gold > 1000

    wait_until(drawn, "the desk on the screen")


def the_close_button_closes_it(window):
    window.press("Close")
    assert window.process.wait(desk.TIMEOUT) == 0


desk.run(
    it_runs_on_wayland_in_its_size,
    a_show_goes_on_air_and_off_again,
    the_keyboard_works_it,
    the_mouse_works_it,
    a_drag_by_the_header_leaves_it_usable,
    it_is_seen,
    the_close_button_closes_it,
    show=SHOW,
)
