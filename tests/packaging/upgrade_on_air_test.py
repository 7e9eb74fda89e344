"""The package is upgraded while a show is on air: the crew hear each other all the time, and somebody may still join. The
next start is the later version, which takes over.

    upgrade_on_air_test.py BUILD_FOLDER CREW_CLIENT
"""

import glob
import os
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../fixtures"))
import own_network  # noqa: E402
import restarts  # noqa: E402
from on_air import Crew, Server, show_with  # noqa: E402

MEMBERS = 4
PROGRAM = "usr/libexec/wingbell-control/IntercomServer"


def run(*command, **more):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **more)
    assert done.returncode == 0, f"{command}: {done.stdout[-3000:]}"


def two_versions(build):
    """The package of this build and a later one, whose server is another file."""
    folder = os.path.join(own_network.WORK, "packages")
    run("cpack", "--config", f"{build}/CPackConfig.cmake", "-B", folder)
    (package,) = glob.glob(f"{folder}/*.deb")
    tree = os.path.join(folder, "later")
    run("dpkg-deb", "--raw-extract", package, tree)
    run("sed", "-i", "s/^Version: .*/&+later/", f"{tree}/DEBIAN/control")
    with open(f"{tree}/{PROGRAM}", "ab") as file:
        file.write(b"later")
    run("dpkg-deb", "--root-owner-group", "--build", tree, f"{folder}/later.deb")
    return package, f"{folder}/later.deb"


def install(package, root):
    """Alone: what it depends on is this system's. Its scripts are told the root and run here."""
    database = os.path.join(root, "var/lib/dpkg")
    os.makedirs(f"{database}/info", exist_ok=True)
    os.makedirs(f"{database}/updates", exist_ok=True)
    with open(f"{database}/status", "a", encoding="ascii"):
        pass
    # A user may not give files to root, and has no part of the path that dpkg looks for.
    forced = ["--force-depends", "--force-not-root", "--force-bad-path", "--force-script-chrootless"]
    run("dpkg", *forced, "--log=/dev/null", "--root", root, "--install", package)


def main():
    own_network.enter()
    build, client = sys.argv[1:3]
    earlier, later = two_versions(build)
    root = os.path.join(own_network.WORK, "root")
    install(earlier, root)
    program = os.path.join(root, PROGRAM)
    installed = os.stat(program)
    server = Server(program, show_with(["Main"], {"Caller": (["Main"], ["Main"])}))
    crew = restarts.join(server, client, MEMBERS)

    begin = crew.mark()
    install(later, root)
    assert os.stat(program).st_size == installed.st_size + len(b"later"), "the program is still the earlier one"
    newcomer = Crew(client, server.document([{"role": "Caller"}], tones=[restarts.TONE]))
    newcomer.wait_for_tones(0, [restarts.TONE])
    newcomer.quit()
    server.say("Beginners, please")
    server.wait_for_line("Beginners, please")
    assert [crew.count(event, begin) for event in ("goodbye", "ended", "joined", "hears")] == [0] * 4, crew.events.all(begin)

    restarts.seconds_until_all_hear(server, crew, MEMBERS, restarts.take_over)
    server.stop()
    crew.quit()
    print("1 passed, 0 failed")


main()
