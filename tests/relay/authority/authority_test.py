"""Chromium and Firefox warn of the desk's certificate unless they trust the desk's authority, and then never of the desk,
whatever address and certificate that has and however long it is on air, and always of a public name.

    authority_test.py SERVER CLOCK

CLOCK is tests/fixtures/moved_clock.cpp as a library: years pass within the test, for the server and the browsers.
"""

import os
import re
import ssl
import struct
import subprocess
import sys
import time
import urllib.request

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [os.path.join(HERE, "../../fixtures"), os.path.join(HERE, "../page")]
import own_network  # noqa: E402
from browser import Browser  # noqa: E402
from firefox import Firefox  # noqa: E402
from on_air import Server, show_with  # noqa: E402

PUBLIC_PORT = 44300
PUBLIC_NAME = "www.example.org"
DAY = 86400  # seconds
MOVES = 100
DAYS = 800


def chromium_warning(browser, url):
    """Why the browser warns instead of showing the page, in its own word; None if it shows the page."""
    browser.open(url)
    named = re.search(r"net::(\w+)", browser.text("#error-code"))
    if named:
        return named.group(1)
    assert "How to join" in browser.text("body"), browser.text("body")
    return None


def trusting_firefox(**settings):
    return Firefox(accepts_every_certificate=False, prepare=add_to_store, **settings)


def firefox_warning(browser, url):
    """The same of Firefox."""
    try:
        browser.open(url)
    except AssertionError as error:
        named = re.search(r"\b(SEC|SSL|MOZILLA_PKIX)_ERROR_\w+", str(error))
        return named.group(0) if named else str(error)
    assert "How to join" in browser.run("return document.body.innerText")
    return None


def add_to_store(folder):
    """The authority as one for web sites, in a certificate store of Mozilla's kind."""
    authority = os.path.join(own_network.WORK, "authority.crt")
    own_network.run("certutil", "-d", f"sql:{folder}", "-N", "--empty-password")
    own_network.run("certutil", "-d", f"sql:{folder}", "-A", "-n", "desk", "-t", "C,,", "-i", authority)


def start_clock(library):
    """For all that is started from now on."""
    os.environ["WINGBELL_MOVED_CLOCK"] = os.path.join(own_network.WORK, "clock")
    with open(os.environ["WINGBELL_MOVED_CLOCK"], "wb") as file:
        file.write(bytes(8))
    assert os.path.exists(library), "the clock is not built"
    os.environ["LD_PRELOAD"] = library


def set_clock(seconds):
    """So much after what it is."""
    with open(os.environ["WINGBELL_MOVED_CLOCK"], "r+b") as file:
        file.write(struct.pack("=q", seconds))


def state(name):
    return os.path.join(os.environ["XDG_STATE_HOME"], "wingbell", name)


def certificate_at(host, server):
    return ssl.get_server_certificate((host, server.port))


def move(server, before, after):
    """Another network gives the computer another address; returns when the console has said so."""
    begin = server.lines.count()
    own_network.run("ip", "address", "add", f"{after}/24", "dev", "lo")
    if before:
        own_network.run("ip", "address", "delete", f"{before}/24", "dev", "lo")
    server.wait_for_line("print new ones", begin=begin)
    server.wait_for_line("The crew join at", f"https://{after}:{server.port}/", begin=begin)


def trust(server):
    """Installs the authority as a person does: from the page, into the store of Chromium on Linux."""
    with urllib.request.urlopen(f"http://{server.host}:{server.port}/authority.crt") as response:
        assert response.headers["Content-Type"] == "application/x-x509-ca-cert"
        authority = os.path.join(own_network.WORK, "authority.crt")
        with open(authority, "wb") as file:
            file.write(response.read())
    store = os.path.join(os.environ["HOME"], ".pki", "nssdb")
    os.makedirs(store)
    add_to_store(store)


def impostor():
    """A server with a certificate for a public name, made with the stolen key of the authority."""
    def path(name):
        return os.path.join(own_network.WORK, name)

    own_network.run("openssl", "ecparam", "-genkey", "-name", "prime256v1", "-noout", "-out", path("thief.key"))
    own_network.run("openssl", "req", "-new", "-key", path("thief.key"), "-subj", "/CN=thief", "-out", path("thief.csr"))
    with open(path("names"), "w", encoding="utf-8") as file:
        file.write(f"subjectAltName=DNS:{PUBLIC_NAME},IP:127.0.0.1\nextendedKeyUsage=serverAuth\n")
    own_network.run(
        "openssl", "x509", "-req", "-in", path("thief.csr"), "-CA", state("authority.pem"), "-CAkey",
        state("authority.pem"), "-days", "30", "-extfile", path("names"), "-out", path("thief.crt"),
    )  # fmt: skip
    return subprocess.Popen(
        ["openssl", "s_server", "-accept", str(PUBLIC_PORT), "-cert", path("thief.crt"), "-key", path("thief.key"),
         "-www", "-quiet"],
        stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        preexec_fn=own_network.die_with_parent,
    )  # fmt: skip


def through_moves_and_years(server):
    """Neither browser warns while the desk gets one address after the other and stays on air for years."""
    certificates = set()
    first = certificate_at("127.0.0.1", server)
    at_home = {first}
    before = None
    with Browser(microphone=False) as chromium, trusting_firefox() as firefox:
        for number in range(MOVES):
            set_clock(DAY * DAYS * (number + 1) // MOVES)
            now = f"192.168.{number + 1}.5"
            move(server, before, now)
            certificates.add(certificate_at(now, server))
            at_home.add(certificate_at("127.0.0.1", server))
            if number == 0:
                assert at_home == {first}  # a phone that has accepted it need not accept another one
            for host in (now, "127.0.0.1"):
                url = f"https://{host}:{server.port}/help"
                told = chromium_warning(chromium, url), firefox_warning(firefox, url)
                assert told == (None, None), (number, host, told)
            before = now
        days = [browser.run("return Date.now()") / 1000 / DAY - time.time() / DAY for browser in (chromium, firefox)]
    assert [round(passed) for passed in days] == [DAYS, DAYS], days
    assert len(certificates) == MOVES
    assert 3 <= len(at_home) <= 4, len(at_home)  # good for 397 days each
    own_network.run("ip", "address", "delete", f"{before}/24", "dev", "lo")


def main():
    own_network.enter()
    program, library = sys.argv[1:]
    start_clock(library)
    server = Server(program, show_with(["Main"], {"Caller": (["Main"], ["Main"])}))
    page = f"{server.url}/help"
    with Browser(microphone=False) as chromium, Firefox(accepts_every_certificate=False) as firefox:
        assert chromium_warning(chromium, page) == "ERR_CERT_AUTHORITY_INVALID"
        assert firefox_warning(firefox, page) == "SEC_ERROR_UNKNOWN_ISSUER"

    trust(server)
    through_moves_and_years(server)

    move(server, None, "192.168.7.5")
    own_network.run("ip", "address", "add", "fd00:7::5/64", "dev", "lo", "nodad")
    server.wait_for_line("[fd00:7::5]")
    local = f"{os.uname().nodename.split('.')[0]}.local"
    rules = f"--host-resolver-rules=MAP {local} 127.0.0.1, MAP {PUBLIC_NAME} 127.0.0.1"
    public = f"https://{PUBLIC_NAME}:{PUBLIC_PORT}/"
    thief = impostor()
    with Browser(rules, microphone=False) as chromium:
        for host in ("[fd00:7::5]", "localhost", local):
            assert chromium_warning(chromium, f"https://{host}:{server.port}/help") is None, host
        assert chromium_warning(chromium, public) == "ERR_CERT_INVALID"
    with trusting_firefox(network__dns__forceResolve="127.0.0.1") as firefox:
        assert firefox_warning(firefox, f"https://{local}:{server.port}/help") is None
        assert firefox_warning(firefox, public) == "SEC_ERROR_CERT_NOT_IN_NAME_SPACE"
    thief.kill()

    with Browser(microphone=False) as chromium:
        server.stop()
        server.start()
        assert chromium_warning(chromium, page) is None
        server.stop()
        os.remove(state("authority.pem"))
        server.start()  # another desk
        assert chromium_warning(chromium, page) == "ERR_CERT_AUTHORITY_INVALID"
    server.stop()
    print("1 passed, 0 failed")


main()
