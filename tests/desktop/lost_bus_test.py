"""The session bus dies while a show runs: the show goes on, and the window with it."""

import desk
from own_desktop import LOGIN_HOLDS, MATE_HOLDS, SHOW, OwnDesktop, go_off_air, go_on_air, see


def lose_bus(session):
    """Without a farewell. MATE's session manager goes with it."""
    session.bus.kill()


def the_show_goes_on_and_can_be_ended(window, session):
    session.mate()
    server = go_on_air(window)
    see(session.mate_inhibitors, MATE_HOLDS)
    lose_bus(session)
    desk.send_osc(SHOW["oscPort"], "/wingbell/say", "still here")
    window.see_line("still here")
    assert desk.alive(server)
    go_off_air(window)
    window.see_line("■ Server stopped.")


def the_login_manager_keeps_the_computer_awake_from_then_on(window, session):
    session.mate()
    session.login_manager()
    go_on_air(window)
    see(session.mate_inhibitors, MATE_HOLDS)
    lose_bus(session)
    see(session.login_inhibitors, LOGIN_HOLDS)
    go_off_air(window)
    see(session.login_inhibitors, [])


def the_next_show_runs_as_well(window, session):
    session.mate()
    session.login_manager()
    go_on_air(window)
    see(session.mate_inhibitors, MATE_HOLDS)
    go_off_air(window)
    see(session.mate_inhibitors, [])
    lose_bus(session)
    go_on_air(window)
    see(session.login_inhibitors, LOGIN_HOLDS)
    go_off_air(window)
    see(session.login_inhibitors, [])


def the_window_can_be_worked_with_and_closed(window, session):
    lose_bus(session)
    assert window.save()["show"] == SHOW["show"]
    desk.click(window.find("Close"))
    assert window.process.wait(desk.TIMEOUT) == 0


def the_system_bus_may_die_too(window, session):
    session.login_manager()
    go_on_air(window)
    see(session.login_inhibitors, LOGIN_HOLDS)
    session.system.kill()
    session.bus.kill()
    desk.send_osc(SHOW["oscPort"], "/wingbell/say", "still here")
    window.see_line("still here")
    go_off_air(window)
    window.see_line("■ Server stopped.")


desk.run(
    the_show_goes_on_and_can_be_ended,
    the_login_manager_keeps_the_computer_awake_from_then_on,
    the_next_show_runs_as_well,
    the_window_can_be_worked_with_and_closed,
    the_system_bus_may_die_too,
    show=SHOW,
    session=OwnDesktop,
)
