"""A mock of the desk: responds to the crew's pages as the server does, over plain HTTP, which counts as secure on
localhost. The other end of the audio is a page in the same browser (far_end.js)."""

import ctypes
import http.server
import itertools
import json
import pathlib
import queue
import re
import secrets
import threading
import urllib.parse

HERE = pathlib.Path(__file__).resolve().parent
PAGES = HERE.parents[2] / "relay" / "page"
POLICY = (
    "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self'; connect-src 'self'; "
    "media-src blob:; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"
)
HELP_POLICY = "default-src 'none'; style-src 'unsafe-inline'"
TYPES = {".html": "text/html; charset=utf-8", ".css": "text/css", ".js": "text/javascript", ".svg": "image/svg+xml"}
NAMED = {"/": "crew.html", "/card": "card.html", "/desk": "desk.html", "/help": "help.html"}
FAR_END_TIMEOUT = 10  # seconds
HEARTBEAT = 2  # seconds


class _QrCode(ctypes.Structure):
    _fields_ = [("version", ctypes.c_int), ("width", ctypes.c_int), ("data", ctypes.POINTER(ctypes.c_ubyte))]


def qr_modules(text):
    """The rows of a QR code, each a list of booleans."""
    library = ctypes.CDLL("libqrencode.so.4")
    library.QRcode_encodeString.restype = ctypes.POINTER(_QrCode)
    library.QRcode_free.argtypes = [ctypes.POINTER(_QrCode)]
    code = library.QRcode_encodeString(text.encode(), 0, 1, 2, 1)
    width = code.contents.width
    rows = [[bool(code.contents.data[y * width + x] & 1) for x in range(width)] for y in range(width)]
    library.QRcode_free(code)
    return rows


def qr(text):
    rows = qr_modules(text)
    path = ""
    for y, row in enumerate(rows):
        x = 0
        for dark, group in itertools.groupby(row):
            length = len(list(group))
            if dark:
                path += f"M{x} {y}h{length}v1h-{length}z"
            x += length
    return {"size": len(rows), "path": path}


def channel(name, talk=True, listen=True):
    return {"name": name, "talk": talk, "listen": listen}


class Session:
    def __init__(self, role, request):
        self.id = secrets.token_hex(16)
        self.role = role
        self.request = request
        self.answer = None
        self.states = []
        self.events = queue.Queue()  # of (name, data); None ends the stream
        self.streams = 0


class MockDesk:
    """Its attributes may be changed at any time; `changed` guards them for readers that wait."""

    def __init__(self):
        self.reset()
        self.stopping = False
        self.far_commands = queue.Queue()
        self.offers = {}
        self.changed = threading.Condition()
        desk = self

        class Handler(_Handler):
            pass

        Handler.desk = desk
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.thread = threading.Thread(target=self.server.serve_forever, kwargs={"poll_interval": 0.05})
        self.thread.start()

    def reset(self):
        """The state in which every test starts."""
        self.show = "Hamlet"
        self.code = "482913"
        self.card_keys = {"": "door" + 18 * "-", "b3n8x1zz": "director" + 14 * "_"}  # by role
        self.roles = {
            "k7d2m9qa": ("Stage Manager", [channel("Main"), channel("Tech"), channel("Backstage", talk=False)]),
            "b3n8x1zz": ("Director", [channel("Main", talk=False), channel("Notes", listen=False)]),
            "p0p0p0p0": ("Fly Floor", [channel("Main")]),
        }
        self.present = {}
        self.sessions = {}
        self.joins = []  # every request to join
        self.left = []  # sessions
        self.refusals = []  # responses to the next joins: (status, body)
        self.role_refusals = []  # the same for the next requests for roles
        self.state_refusals = []  # and for the next states
        self.beats = True
        self.silent = False  # accepts requests and never responds
        self.unknown = set()  # sessions that the desk has forgotten
        self.strays = []  # what was asked for these: "events" or "request"
        self.wait_for_far = True
        self.card = None
        self.calls = []  # (channel, on)
        self.call_refusals = []  # responses to the next calls
        self.acknowledged = []  # (channel, whether a call)
        self.desk_key = 22 * "k"
        self.desk_pages = {}  # the events of each page, by its session
        self.desk_requests = []  # (what, request) of the desk's page
        self.desk_responses = {}  # what is responded to it, in place of what is below

    @property
    def address(self):
        return f"http://localhost:{self.server.server_port}"

    def stop(self):
        self.stopping = True
        self.far_commands.put(None)
        for events in [session.events for session in self.sessions.values()] + list(self.desk_pages.values()):
            events.put(None)
        self.server.shutdown()
        self.server.server_close()
        self.thread.join()

    @property
    def newest(self):
        return list(self.sessions.values())[-1] if self.sessions else None

    def tell(self, name, data, session=None):
        (session or self.newest).events.put((name, data))

    def talkers(self, *channels):
        """Each channel as (names, announcing)."""
        self.tell("desk", {"channels": [{"talking": names, "announcing": loud} for names, loud in channels]})

    def forget_sessions(self):
        """As after a restart of the server."""
        for session in self.sessions.values():
            self.unknown.add(session.id)
            session.events.put(None)

    def notify(self):
        with self.changed:
            self.changed.notify_all()

    # ---- Requests ----

    def respond(self, path, body):
        request = json.loads(body or b"{}")
        with self.changed:
            while self.silent and not self.stopping:
                self.changed.wait(0.1)
        return getattr(self, "respond_" + re.sub("[/-]", "_", path.removeprefix("/api/")))(request)

    def admits(self, request):
        if "key" in request:
            return request["key"] in (self.card_keys[""], self.card_keys.get(request.get("cardRole")))
        return request["code"] == self.code

    def respond_roles(self, request):
        if self.role_refusals:
            return self.role_refusals.pop(0)
        if not self.admits(request):
            return 403, {"error": "wrong-code"}
        roles = [{"key": k, "name": name, "present": self.present.get(k, 0)} for k, (name, _) in self.roles.items()]
        return 200, {"show": self.show, "roles": roles}

    def respond_join(self, request):
        self.joins.append(request)
        if self.refusals:
            return self.refusals.pop(0)
        if not self.admits(request):
            return 403, {"error": "wrong-code"}
        if request["role"] not in self.roles:
            return 404, {"error": "no-such-role"}
        name, channels = self.roles[request["role"]]
        session = Session(request["role"], request)
        offer = self.offer_of(session.id)
        if offer is None:
            return 503, {"error": "not-now"}
        replaced = self.sessions.get(request.get("replaces"))
        if replaced:
            replaced.events.put(None)
            self.unknown.add(replaced.id)
        self.sessions[session.id] = session
        self.notify()
        return 200, {
            "session": session.id,
            "show": self.show,
            "role": {"key": request["role"], "name": name},
            "channels": channels,
            "offer": offer,
        }

    def offer_of(self, session):
        if not self.wait_for_far:
            return None
        self.far_commands.put({"command": "offer", "session": session})
        with self.changed:
            self.changed.wait_for(lambda: session in self.offers or self.stopping, FAR_END_TIMEOUT)
        return self.offers.pop(session, None)

    def known(self, request, kind="request"):
        session = request.get("session")
        if session in self.unknown:
            self.strays.append(kind)
            return None
        return self.sessions.get(session)

    def respond_answer(self, request):
        session = self.known(request)
        if not session:
            return 404, {"error": "no-such-session"}
        session.answer = request
        self.far_commands.put({"command": "answer", "session": session.id, "answer": request})
        self.notify()
        return 204, None

    def respond_state(self, request):
        if self.state_refusals:
            return self.state_refusals.pop(0)
        session = self.known(request)
        if not session:
            return 404, {"error": "no-such-session"}
        session.states.append({key: request[key] for key in ("number", "talk", "levels", "closings")})
        self.notify()
        return 204, None

    def respond_call(self, request):
        if self.call_refusals:
            return self.call_refusals.pop(0)
        self.calls.append((request["channel"], request["on"]))
        return 204, None

    def respond_acknowledge(self, request):
        self.acknowledged.append((request["channel"], request["call"]))
        self.notify()
        return 204, None

    def signals(self, *channels):
        """Each channel as a dictionary of call and light."""
        self.tell("desk", {"channels": [{"talking": [], "announcing": False, **each} for each in channels]})

    def respond_leave(self, request):
        self.left.append(request["session"])
        self.notify()
        return 204, None

    def respond_card(self, request):
        if not self.admits(request):
            return 403, {"error": "wrong-code"}
        return 200, self.card or self.usual_card()

    def usual_card(self):
        address = "https://192.168.1.5:47000/"
        whole = f"{address}#code={self.code}"
        roles = [
            {"name": name, "url": f"{whole}&role={key}", "qr": qr(f"{whole}&role={key}")}
            for key, (name, _) in self.roles.items()
        ]
        return {
            "show": self.show,
            "code": self.code,
            "address": address,
            "others": ["https://desk.local:47000/"],
            "fingerprint": ":".join(f"{byte:02X}" for byte in range(200, 232)),
            "authority": ":".join(f"{byte:02X}" for byte in range(100, 132)),
            "page": {"url": whole, "qr": qr(whole)},
            "roles": roles,
        }

    # ---- The desk's own page ----

    def respond_desk_open(self, request):
        if request["key"] != self.desk_key:
            return 403, {"error": "wrong-key"}
        session = secrets.token_hex(16)
        self.desk_pages[session] = queue.Queue()
        channels = list(dict.fromkeys(each["name"] for _, own in self.roles.values() for each in own))
        roles = [name for name, _ in self.roles.values()]
        self.notify()
        return 200, {"session": session, "show": self.show, "channels": channels, "roles": roles}

    def desk_request(self, what, request, response):
        if request["session"] not in self.desk_pages:
            return 404, {"error": "no-such-session"}
        self.desk_requests.append((what, {key: request[key] for key in request if key != "session"}))
        return self.desk_responses.get(what, response)

    def respond_desk_close_keys(self, request):
        return self.desk_request("close-keys", request, (200, {"count": 1}))

    def respond_desk_speak(self, request):
        return self.desk_request("speak", request, (204, None))

    def respond_desk_silence(self, request):
        return self.desk_request("silence", request, (200, {"count": 1}))

    def respond_desk_call(self, request):
        return self.desk_request("call", request, (204, None))

    def respond_desk_standby(self, request):
        return self.desk_request("standby", request, (204, None))

    def respond_desk_go(self, request):
        return self.desk_request("go", request, (204, None))

    def respond_desk_clear(self, request):
        return self.desk_request("clear", request, (204, None))

    def show_crew(self, *members, now=1000000, channels=()):
        """Each page of the desk gets the members, of which what is not given is unknown."""
        usual = {"address": "10.0.0.1", "connected": True, "microphone": True, "open": [], "heard": None,
                 "screen": "on", "battery": None, "charging": False, "loss": None, "delay": None}  # fmt: skip
        crew = {"members": [{**usual, **member} for member in members], "channels": list(channels)}
        for events in self.desk_pages.values():
            events.put(("crew", {"now": now, "crew": crew}))

    # ---- The far end of the audio ----

    def respond_far_offer(self, request):
        with self.changed:
            self.offers[request["session"]] = request["sdp"]
            self.changed.notify_all()
        return 204, None


FAR_PAGE = b'<!doctype html><title>far end</title><p>far end</p><script type="module" src="/far_end.js"></script>'
UNIT_PAGE = b'<!doctype html><title>units</title><script type="module" src="/units/units.js"></script>'


class _Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    desk = None

    def log_message(self, *_):
        pass

    def do_GET(self):
        url = urllib.parse.urlsplit(self.path)
        if url.path == "/api/events":
            self.stream_events(urllib.parse.parse_qs(url.query).get("session", [""])[0])
        elif url.path == "/api/desk/events":
            self.stream_desk(urllib.parse.parse_qs(url.query).get("session", [""])[0])
        elif url.path == "/far/commands":
            self.stream(self.desk.far_commands, beats=False, name="message")
        elif url.path == "/far":
            self.send(200, FAR_PAGE, "text/html")
        elif url.path == "/units":
            self.send(200, UNIT_PAGE, "text/html")
        else:
            self.send_file(url.path)

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        status, response = self.desk.respond(self.path.replace("/far/", "/api/far_"), body)
        self.send(status, json.dumps(response).encode() if response is not None else b"", "application/json")

    def send_file(self, path):
        name = NAMED.get(path, path[1:])
        for folder in (PAGES, HERE):
            file = folder / name
            if file.is_file() and folder in file.resolve().parents:
                policy = HELP_POLICY if name == "help.html" else POLICY
                return self.send(200, file.read_bytes(), TYPES[file.suffix], policy)
        return self.send(404, b"", "text/plain")

    def send(self, status, body, kind, policy=None):
        self.send_response(status)
        self.send_header("Content-Type", kind)
        self.send_header("Cache-Control", "no-store")
        if policy:
            self.send_header("Content-Security-Policy", policy)
        if status != 204:
            self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        try:
            self.wfile.write(body)
        except OSError:
            pass  # the page was closed meanwhile

    def stream_events(self, id_):
        session = self.desk.known({"session": id_}, "events")
        if not session:
            return self.send(404, b'{"error":"no-such-session"}', "application/json")
        session.streams += 1
        self.desk.notify()
        return self.stream(session.events, beats=True)

    def stream_desk(self, session):
        if session not in self.desk.desk_pages:
            return self.send(404, b'{"error":"no-such-session"}', "application/json")
        return self.stream(self.desk.desk_pages[session], beats=True)

    def stream(self, events, beats, name=None):
        self.send_response(200)
        self.send_header("Content-Type", "text/event-stream")
        self.send_header("Cache-Control", "no-store")
        self.send_header("Connection", "close")
        self.end_headers()
        self.close_connection = True
        pending = [("beat", {})] if beats else []
        while not self.desk.stopping:
            for event, data in pending:
                if event == "beat" and not self.desk.beats:
                    continue
                try:
                    self.wfile.write(f"event: {event}\ndata: {json.dumps(data)}\n\n".encode())
                    self.wfile.flush()
                except OSError:
                    return
            try:
                item = events.get(timeout=HEARTBEAT)
            except queue.Empty:
                pending = [("beat", {})] if beats else []
                continue
            if item is None:
                return
            pending = [(name, item) if name else item]
