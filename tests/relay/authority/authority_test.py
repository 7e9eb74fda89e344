"""Chromium and Firefox warn of the desk's certificate unless they trust the desk's authority, and then never of the desk,
whatever address and certificate that has, and always of a public name.

    authority_test.py SERVER
"""

import os
import re
import ssl
import subprocess
import sys
import urllib.request

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../../fixtures"))
import own_network  # noqa: E402
from firefox import Firefox  # noqa: E402
from on_air import Server, show_with  # noqa: E402

PUBLIC_PORT = 44300
PUBLIC_NAME = "www.example.org"


def warning(url, *switches):
    """Why the browser warns instead of showing the page, in its own word; None if it shows the page."""
    done = subprocess.run(
        ["/usr/bin/chromium", "--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run", "--disable-sync",
         "--disable-background-networking", "--disable-component-update", f"--user-data-dir={own_network.WORK}/browser",
         *switches, "--dump-dom", url],
        capture_output=True, text=True, timeout=120, check=False,
    )  # fmt: skip
    failed = re.search(r"Page load failed: net::(\w+)", done.stderr)
    assert failed or "How to join" in done.stdout, done.stdout[:2000] + done.stderr[-2000:]
    return failed.group(1) if failed else None


def firefox_warning(url, trusting=False, **settings):
    """The same of Firefox; if `trusting`, it trusts the authority."""

    def trust_authority(profile):
        authority = os.path.join(own_network.WORK, "authority.crt")
        own_network.run("certutil", "-d", f"sql:{profile}", "-N", "--empty-password")
        own_network.run("certutil", "-d", f"sql:{profile}", "-A", "-n", "desk", "-t", "C,,", "-i", authority)

    prepare = trust_authority if trusting else None
    with Firefox(accepts_every_certificate=False, prepare=prepare, **settings) as browser:
        try:
            browser.open(url)
        except AssertionError as error:
            return re.search(r"\bSEC_ERROR_\w+", str(error)).group(0)
        assert "How to join" in browser.run("return document.body.innerText")
    return None


def state(name):
    return os.path.join(os.environ["XDG_STATE_HOME"], "wingbell", name)


def certificate_of(server):
    return ssl.get_server_certificate((server.host, server.port))


def start_again(server):
    server.stop()
    server.start()


def trust(server):
    """Installs the authority as a person does: from the page, into the store of Chromium on Linux."""
    with urllib.request.urlopen(f"http://{server.host}:{server.port}/authority.crt") as response:
        assert response.headers["Content-Type"] == "application/x-x509-ca-cert"
        authority = os.path.join(own_network.WORK, "authority.crt")
        with open(authority, "wb") as file:
            file.write(response.read())
    store = os.path.join(os.environ["HOME"], ".pki", "nssdb")
    os.makedirs(store)
    own_network.run("certutil", "-d", f"sql:{store}", "-N", "--empty-password")
    own_network.run("certutil", "-d", f"sql:{store}", "-A", "-n", "desk", "-t", "C,,", "-i", authority)


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


def main():
    own_network.enter()
    program = sys.argv[1]
    server = Server(program, show_with(["Main"], {"Caller": (["Main"], ["Main"])}))
    assert warning(f"{server.url}/help") == "ERR_CERT_AUTHORITY_INVALID"

    assert firefox_warning(f"{server.url}/help") == "SEC_ERROR_UNKNOWN_ISSUER"

    trust(server)
    assert warning(f"{server.url}/help") is None
    assert firefox_warning(f"{server.url}/help", trusting=True) is None

    before = certificate_of(server)
    own_network.run("ip", "address", "add", "192.168.7.5/24", "dev", "lo")
    own_network.run("ip", "address", "add", "fd00:7::5/64", "dev", "lo", "nodad")
    start_again(server)
    assert certificate_of(server) != before
    for host in ("192.168.7.5", "[fd00:7::5]", "127.0.0.1", "localhost"):
        assert warning(f"https://{host}:{server.port}/help") is None, host
    assert firefox_warning(f"https://192.168.7.5:{server.port}/help", trusting=True) is None
    local = f"{os.uname().nodename.split('.')[0]}.local"
    rules = f"--host-resolver-rules=MAP {local} 127.0.0.1"
    assert warning(f"https://{local}:{server.port}/help", rules) is None
    resolve = {"network__dns__forceResolve": "127.0.0.1"}
    assert firefox_warning(f"https://{local}:{server.port}/help", trusting=True, **resolve) is None

    before = certificate_of(server)
    server.stop()
    os.remove(state("certificate.pem"))  # as if it were renewed
    server.start()
    assert certificate_of(server) != before
    assert warning(f"{server.url}/help") is None

    thief = impostor()
    rules = f"--host-resolver-rules=MAP {PUBLIC_NAME} 127.0.0.1"
    assert warning(f"https://{PUBLIC_NAME}:{PUBLIC_PORT}/", rules) == "ERR_CERT_INVALID"
    public = firefox_warning(f"https://{PUBLIC_NAME}:{PUBLIC_PORT}/", trusting=True, **resolve)
    assert public == "SEC_ERROR_CERT_NOT_IN_NAME_SPACE", public
    thief.kill()

    server.stop()
    os.remove(state("authority.pem"))
    server.start()  # another desk
    assert warning(f"{server.url}/help") == "ERR_CERT_AUTHORITY_INVALID"
    server.stop()
    print("1 passed, 0 failed")


main()
