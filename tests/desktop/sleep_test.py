"""While a show runs the computer stays awake: asked of the services of real desktops.

The session manager is MATE's and the power manager XFCE's own; the login manager, which wants to be the
system's, is mocked by dbusmock, but its lock is a real descriptor. Each test is driven by a person's means.
"""

import os
import signal

import desk
from desk import wait_until
from own_desktop import (
    IDLENESS,
    LOGIN_HOLDS,
    MATE_HOLDS,
    SHOW,
    SUSPENDING,
    OwnDesktop,
    close,
    crash,
    end,
    go_off_air,
    go_on_air,
    see,
)


def mate_keeps_the_computer_awake_and_lets_the_display_sleep(window, session):
    session.mate()
    see(session.mate_inhibitors, [])
    go_on_air(window)
    see(session.mate_inhibitors, MATE_HOLDS)
    assert session.mate_holds_back(SUSPENDING) is True
    assert session.mate_holds_back(IDLENESS) is False, "the display is kept lit"
    go_off_air(window)
    see(session.mate_inhibitors, [])
    assert session.mate_holds_back(SUSPENDING) is False


def mate_lets_go_when_the_server_ends_by_itself(window, session):
    session.mate()
    end(go_on_air(window))
    wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")
    see(session.mate_inhibitors, [])
    server = go_on_air(window)
    see(session.mate_inhibitors, MATE_HOLDS)
    os.kill(server, signal.SIGKILL)
    see(session.mate_inhibitors, [])


def mate_lets_go_when_the_window_crashes(window, session):
    session.mate()
    server = go_on_air(window)
    see(session.mate_inhibitors, MATE_HOLDS)
    crash(window)
    see(session.mate_inhibitors, [])
    end(server)


def mate_lets_go_when_the_window_is_closed(window, session):
    session.mate()
    server = go_on_air(window)
    see(session.mate_inhibitors, MATE_HOLDS)
    close(window)
    see(session.mate_inhibitors, [])
    end(server)


def mate_is_asked_again_after_its_restart(window, session):
    manager = session.mate()
    go_on_air(window)
    see(session.mate_inhibitors, MATE_HOLDS)
    manager.kill()
    see(session.mate_inhibitors, None)
    manager.start()
    see(session.mate_inhibitors, MATE_HOLDS)
    go_off_air(window)
    see(session.mate_inhibitors, [])


def a_session_manager_is_asked_before_the_login_manager(window, session):
    session.mate()
    session.login_manager()
    go_on_air(window)
    see(session.mate_inhibitors, MATE_HOLDS)
    assert session.login_inhibitors() == []


def the_login_manager_steps_in_while_the_session_manager_is_away(window, session):
    manager = session.mate()
    session.login_manager()
    go_on_air(window)
    see(session.mate_inhibitors, MATE_HOLDS)
    manager.kill()
    see(session.login_inhibitors, LOGIN_HOLDS)
    manager.start()
    see(session.mate_inhibitors, MATE_HOLDS)
    see(session.login_inhibitors, [])


def on_xfce_the_login_manager_keeps_the_computer_awake_and_the_display_may_sleep(window, session):
    session.xfce()
    session.login_manager()
    go_on_air(window)
    see(session.login_inhibitors, LOGIN_HOLDS)
    assert session.display_may_sleep(), "the display is kept lit"
    assert session.xfce_holds_back() is False
    go_off_air(window)
    see(session.login_inhibitors, [])


def on_xfce_without_a_login_manager_its_own_power_manager_does(window, session):
    manager = session.xfce()
    see(session.display_may_sleep, True)
    go_on_air(window)
    see(session.display_may_sleep, False)
    go_off_air(window)
    see(session.display_may_sleep, True)
    assert manager.runs() and session.xfce_holds_back() is False


def on_xfce_a_login_manager_that_comes_late_takes_over(window, session):
    session.xfce()
    go_on_air(window)
    see(session.display_may_sleep, False)
    session.login_manager()
    see(session.login_inhibitors, LOGIN_HOLDS)
    see(session.display_may_sleep, True)
    assert session.xfce_holds_back() is False


def xfce_is_asked_again_after_its_restart(window, session):
    manager = session.xfce()
    go_on_air(window)
    see(session.display_may_sleep, False)
    manager.kill()
    see(session.xfce_holds_back, None)
    manager.start()
    see(session.xfce_holds_back, True)


def a_window_that_crashes_leaves_nothing_held_on_xfce(window, session):
    """The power manager itself may end by it (4.18.1 does at times); the one that follows holds nothing either."""
    manager = session.xfce()
    server = go_on_air(window)
    see(session.display_may_sleep, False)
    crash(window)
    wait_until(lambda: not manager.runs() or session.display_may_sleep(), "the power manager to let go")
    if not manager.runs():
        manager.start()
    see(session.display_may_sleep, True)
    see(session.xfce_holds_back, False)
    end(server)


def the_login_managers_lock_is_open_as_long_as_the_server_runs(window, session):
    session.login_manager()
    server = go_on_air(window)
    see(session.login_inhibitors, LOGIN_HOLDS)
    end(server)
    see(session.login_inhibitors, [])


def the_login_managers_lock_does_not_outlive_a_window_that_crashes(window, session):
    session.login_manager()
    server = go_on_air(window)
    see(session.login_inhibitors, LOGIN_HOLDS)
    crash(window)
    see(session.login_inhibitors, [])
    assert desk.alive(server), "the server went with its window"
    end(server)


def the_login_managers_lock_does_not_outlive_a_window_that_is_closed(window, session):
    session.login_manager()
    server = go_on_air(window)
    see(session.login_inhibitors, LOGIN_HOLDS)
    close(window)
    see(session.login_inhibitors, [])
    assert desk.alive(server), "the server went with its window"
    end(server)


def the_login_manager_is_asked_again_after_its_restart(window, session):
    manager = session.login_manager()
    go_on_air(window)
    see(session.login_inhibitors, LOGIN_HOLDS)
    manager.kill()
    see(session.login_inhibitors, None)
    manager.start()
    see(session.login_inhibitors, LOGIN_HOLDS)
    go_off_air(window)
    see(session.login_inhibitors, [])


desk.run(
    mate_keeps_the_computer_awake_and_lets_the_display_sleep,
    mate_lets_go_when_the_server_ends_by_itself,
    mate_lets_go_when_the_window_crashes,
    mate_lets_go_when_the_window_is_closed,
    mate_is_asked_again_after_its_restart,
    a_session_manager_is_asked_before_the_login_manager,
    the_login_manager_steps_in_while_the_session_manager_is_away,
    on_xfce_the_login_manager_keeps_the_computer_awake_and_the_display_may_sleep,
    on_xfce_without_a_login_manager_its_own_power_manager_does,
    on_xfce_a_login_manager_that_comes_late_takes_over,
    xfce_is_asked_again_after_its_restart,
    a_window_that_crashes_leaves_nothing_held_on_xfce,
    the_login_managers_lock_is_open_as_long_as_the_server_runs,
    the_login_managers_lock_does_not_outlive_a_window_that_crashes,
    the_login_managers_lock_does_not_outlive_a_window_that_is_closed,
    the_login_manager_is_asked_again_after_its_restart,
    show=SHOW,
    session=OwnDesktop,
)
