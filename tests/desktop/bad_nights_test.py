"""Failures around the window: disks, folders, servers, processes."""

import os
import shutil
import signal

import desk
from desk import SHOW_FILE, wait_until

FOLDER = os.path.dirname(SHOW_FILE)
FILLER = "/Users/Shared/filler"
WARNING = "Changes won't reach the show until you stop and restart the server."
# A show that fills its disk block, so that another role needs a second block.
SHOW = {"show": "x" * 4000, "channels": ["Main"], "roles": [], "oscPort": 47123}

GRACEFUL = "#!/bin/sh\ntrap 'exit 0' TERM\necho {}\nwhile :; do sleep 0.05; done\n"
FLOOD = "#!/bin/sh\ntrap 'exit 0' TERM\nyes 'All quiet on stage left.' &\nwait\n"


def press_save(window):
    window.act(wait_until(lambda: window.find("Save Show") or window.find("Saved ✓"), "the button to save"))


def go_on_air(window):
    window.press("Intercom server")
    wait_until(lambda: window.has("ON AIR"), f"the lamp to say ON AIR; the console says {window.console()}")


def go_off_air(window):
    window.press("Intercom server")
    wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")


def content():
    with open(SHOW_FILE, "rb") as file:
        return file.read()


def fill_the_disk():
    with open(FILLER, "wb", buffering=0) as file:
        try:
            while file.write(bytes(4096)):
                pass
        except OSError:
            pass


def server_of(window):
    """The path of that window's server."""
    window_program = os.readlink(f"/proc/{window.process.pid}/exe")
    return os.path.join(os.path.dirname(window_program), "../libexec/wingbell-control/IntercomServer")


def enormous_file():
    with open(SHOW_FILE, "wb") as file:
        file.truncate(200 * 1024 * 1024)


def role_count():
    show = desk.saved_show()
    return len(show["roles"]) if show else None


def a_full_disk_keeps_the_saved_show(window):
    saved = content()
    go_on_air(window)
    fill_the_disk()
    window.press("Add Role")
    press_save(window)
    wait_until(lambda: window.has("Saved ✓"), "the button to say that it was pressed")
    assert content() == saved, "the saved show has gone"
    assert window.has(WARNING), "the unsaved edit is not told any more"
    os.remove(FILLER)
    press_save(window)
    wait_until(lambda: role_count() == 1, "the show in its file")
    wait_until(lambda: not window.has(WARNING), "the warning to go")
    go_off_air(window)


def a_read_only_folder_keeps_the_edits_in_the_window(window):
    saved = content()
    os.chmod(SHOW_FILE, 0o444)
    os.chmod(FOLDER, 0o555)
    go_on_air(window)
    window.press("Add Role")
    press_save(window)
    wait_until(lambda: window.has("Saved ✓"), "the button to say that it was pressed")
    assert content() == saved and window.has(WARNING)
    os.chmod(FOLDER, 0o755)
    os.chmod(SHOW_FILE, 0o644)
    press_save(window)
    wait_until(lambda: role_count() == 1, "the show in its file")
    go_off_air(window)


def a_deleted_folder_comes_back_with_the_next_save(window):
    window.press("Add Role")
    shutil.rmtree(FOLDER)
    press_save(window)
    wait_until(lambda: role_count() == 1, "the show in its file")
    shutil.rmtree(FOLDER)
    window.press("Reload from File")
    window.see_text("Show name", "Wingbell")
    assert not os.path.exists(FOLDER), "a reload writes nothing"


def a_file_changed_by_others_is_kept_until_a_save(window):
    go_on_air(window)
    desk.write_show({**SHOW, "show": "Theirs", "oscPort": 47200})
    assert window.text_of("Show name") == SHOW["show"], "the window looked by itself"
    window.press("Reload from File")
    window.see_text("Show name", "Theirs")
    window.see_text("Port", "47200")
    go_off_air(window)
    go_on_air(window)
    window.see_line("47200")
    go_off_air(window)


def an_invalid_file_is_not_changed_until_a_save(window):
    for make in (
        lambda: os.mkdir(SHOW_FILE),
        lambda: os.mkfifo(SHOW_FILE),
        lambda: os.symlink("/Users/nowhere/roles.json", SHOW_FILE),
        lambda: os.symlink(SHOW_FILE, SHOW_FILE),
        enormous_file,
        lambda: os.close(os.open(SHOW_FILE, os.O_CREAT, 0o000)),
    ):
        os.remove(SHOW_FILE)
        make()
        kind = os.lstat(SHOW_FILE).st_mode
        window.press("Reload from File")
        window.see_text("Show name", "Wingbell")
        window.press("Intercom server")
        window.see_line("■ Server exited (status 1).")
        wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")
        assert os.lstat(SHOW_FILE).st_mode == kind, "it was touched"
        shutil.rmtree(FOLDER)
        desk.write_show(SHOW)
        window.press("Reload from File")
        window.see_text("Show name", SHOW["show"])


@desk.on(lambda: desk.program_with_server("refused", GRACEFUL.format("first")))
def a_server_that_is_not_executable_is_reported(window):
    server = server_of(window)
    os.chmod(server, 0o644)
    window.press("Intercom server")
    window.see_line("⚠️ Couldn't start the server: ")
    wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")
    os.remove(server)
    window.press("Intercom server")
    window.see_line("⚠️ This app is missing its embedded server binary — rebuild with build_app.sh.")
    with open(server, "w", encoding="utf-8") as file:
        file.write(GRACEFUL.format("mended"))
    os.chmod(server, 0o755)
    go_on_air(window)
    window.see_line("mended")
    go_off_air(window)


@desk.on(lambda: desk.program_with_server("replaced", GRACEFUL.format("first")))
def a_server_that_is_replaced_while_it_runs_changes_at_the_next_start(window):
    server = server_of(window)
    go_on_air(window)
    window.see_line("first")
    with open(server + ".new", "w", encoding="utf-8") as file:
        file.write(GRACEFUL.format("second"))
    os.chmod(server + ".new", 0o755)
    os.rename(server + ".new", server)
    go_off_air(window)
    window.see_line("■ Server stopped.")
    go_on_air(window)
    window.see_line("second")
    go_off_air(window)


def a_killed_window_leaves_the_show_on_air(window):
    go_on_air(window)
    (server,) = desk.children_of(window.process.pid)
    window.process.kill()
    window.process.wait()
    desk.send_osc(47123, "/wingbell/say", "still here")
    assert desk.alive(server), "the server went with the window"
    second = desk.Desk()
    go_on_air(second)
    second.see_line(f"Took over from the server that was on air before (process {server})")
    wait_until(lambda: not desk.alive(server), "the first server to end")
    go_off_air(second)
    second.close()


def a_stopped_window_continues_where_it_was(window):
    go_on_air(window)
    (server,) = desk.children_of(window.process.pid)
    for process in (window.process.pid, server):
        os.kill(process, signal.SIGSTOP)
        wait_until(lambda pid=process: state_of(pid) == "T", "the process to stand still")
        os.kill(process, signal.SIGCONT)
    desk.send_osc(47123, "/wingbell/say", "Good morning")
    window.see_line("Good morning")
    go_off_air(window)


@desk.on(lambda: desk.program_with_server("flooding", FLOOD))
def a_window_that_was_stopped_during_a_flood_responds(window):
    go_on_air(window)
    os.kill(window.process.pid, signal.SIGSTOP)
    wait_until(lambda: state_of(window.process.pid) == "T", "the window to stand still")
    (server,) = desk.children_of(window.process.pid)
    (yes,) = wait_until(lambda: desk.children_of(server), "the flood")
    wait_until(lambda: "pipe" in waiting_in(yes), "the pipe to be full")
    os.kill(window.process.pid, signal.SIGCONT)
    window.press("Add Role")
    press_save(window)
    wait_until(lambda: role_count() == 1, "the show in its file")
    window.press("Intercom server")
    wait_until(lambda: window.has("STOPPED"), "the lamp to say STOPPED")
    os.kill(yes, signal.SIGKILL)


def state_of(pid):
    with open(f"/proc/{pid}/stat", encoding="ascii") as file:
        return file.read().rsplit(")", 1)[1].split()[0]


def waiting_in(pid):
    """The kernel function in which a process waits."""
    with open(f"/proc/{pid}/wchan", encoding="ascii") as file:
        return file.read()


desk.run(
    a_full_disk_keeps_the_saved_show,
    a_read_only_folder_keeps_the_edits_in_the_window,
    a_deleted_folder_comes_back_with_the_next_save,
    a_file_changed_by_others_is_kept_until_a_save,
    an_invalid_file_is_not_changed_until_a_save,
    a_server_that_is_not_executable_is_reported,
    a_server_that_is_replaced_while_it_runs_changes_at_the_next_start,
    a_killed_window_leaves_the_show_on_air,
    a_stopped_window_continues_where_it_was,
    a_window_that_was_stopped_during_a_flood_responds,
    show=SHOW,
)
