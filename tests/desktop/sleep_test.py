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


def on_xfce_its_own_power_manager_keeps_the_computer_awake(window, session):
    """It lights the display as well, which is the lesser evil: only that keeps XFCE from suspending."""
    manager = session.xfce()
    session.login_manager()
    see(session.display_may_sleep, True)
    go_on_air(window)
    see(session.display_may_sleep, False)
    assert session.login_inhibitors() == []
    go_off_air(window)
    see(session.display_may_sleep, True)
    assert manager.runs() and session.xfce_holds_back() is False


def on_xfce_a_power_manager_that_comes_late_takes_over(window, session):
    session.login_manager()
    go_on_air(window)
    see(session.login_inhibitors, LOGIN_HOLDS)
    session.xfce()
    see(session.login_inhibitors, [])
    see(session.xfce_holds_back, True)


def xfce_suspends_an_idle_computer_and_not_one_on_air(window, session):
    """Two desktops at one screen, idle for the same minute; a show runs on one of them."""
    idle = OwnDesktop()
    try:
        for desktop in (session, idle):
            desktop.login_manager()
            desktop.xfce_is_to_suspend_when_idle_for_a_minute()
            desktop.xfce()
        go_on_air(window)
        wait_until(
            lambda: idle.suspend_requests() + session.suspend_requests(), "XFCE to suspend a computer", timeout=100
        )
        session.xfce_has_handled_its_events()
        assert session.suspend_requests() == [], "the computer sleeps in the show"
        see(session.xfce_holds_back, True)
    finally:
        idle.close()


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


def the_login_managers_lock_does_not_outlive_a_window_that_crashes(window, session):
    session.login_manager()
    server = go_on_air(window)
    see(session.login_inhibitors, LOGIN_HOLDS)
    crash(window)
    see(session.login_inhibitors, [])
    assert desk.alive(server), "the server went with its window"
    end(server)


desk.run(
    mate_keeps_the_computer_awake_and_lets_the_display_sleep,
    mate_lets_go_when_the_server_ends_by_itself,
    mate_lets_go_when_the_window_crashes,
    mate_lets_go_when_the_window_is_closed,
    mate_is_asked_again_after_its_restart,
    on_xfce_its_own_power_manager_keeps_the_computer_awake,
    on_xfce_a_power_manager_that_comes_late_takes_over,
    xfce_suspends_an_idle_computer_and_not_one_on_air,
    xfce_is_asked_again_after_its_restart,
    a_window_that_crashes_leaves_nothing_held_on_xfce,
    the_login_managers_lock_does_not_outlive_a_window_that_crashes,
    show=SHOW,
    session=OwnDesktop,
)
