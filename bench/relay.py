"""What the intercom server costs, and its latency, in its own network namespace.

    relay.py SERVER CREW_CLIENT LOSSY_LINK

Run by bench/run. Prints tables; no figure makes it fail. WINGBELL_EARLIER names the server of an earlier build, whose
crowds are then measured in turns with the present one's, with the same clients.
"""

import contextlib
import glob
import itertools
import os
import socket
import statistics
import struct
import subprocess
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../tests/fixtures"))
import own_network  # noqa: E402
import restarts  # noqa: E402
from on_air import Crew, Server, missed_deadlines, own_addresses, show_with, wait_until  # noqa: E402

SECONDS = float(os.environ.get("WINGBELL_SECONDS", "10"))  # each load is measured
BURSTS = int(os.environ.get("WINGBELL_BURSTS", "40"))
SETTLING = 20  # bursts, during which a browser adapts its jitter buffer
ANNOUNCEMENTS = int(os.environ.get("WINGBELL_ANNOUNCEMENTS", "10"))
# People / those of them who talk.
CROWDS = [
    tuple(map(int, crowd.split("/"))) for crowd in os.environ.get("WINGBELL_CROWDS", "8/8 64/8 64/64 250/8").split()
]
EARLIER = os.environ.get("WINGBELL_EARLIER")
AUDIO_THREADS = {"mixer": 10, "network": 9}  # and their priorities
RESTARTED = (8, 32)  # people
WAVE = 16  # join at a time; the server takes 24

# Measured before the server was written, with a prototype on 2 processors.
EARLIER_LATENCY = {(20, 0): "69-71", (10, 0): "54-56", (20, 2): "76-105"}

SHOW = show_with(["Main"], {"Caller": (["Main"], ["Main"])})


def ticks_of(milliseconds):
    return {"WINGBELL_TICK_MS": str(milliseconds)}


def middle_and_worst(values):
    ordered = sorted(values)
    return f"{statistics.median(ordered):.0f} / {ordered[max(0, -(-95 * len(ordered) // 100) - 1)]:.0f}"


class Wire:
    """The times at which bursts pass the crew's side of the network, by the kernel's clock. Encrypted as they are, the
    packets of a burst are longer than those of silence."""

    ETHERNET, IP, UDP, RTP = 14, 20, 8, 12
    MORE_THAN_SILENCE = 3  # bytes
    QUIET = 0.1  # seconds before a burst

    def __init__(self, desk):
        self._desk = socket.inet_aton(desk)
        self._packets = {}  # by (from the desk, SSRC): (time, size)
        self._socket = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(3))
        self._socket.bind(("crew0", 0))
        self._socket.setsockopt(socket.SOL_SOCKET, 35, 1)  # SO_TIMESTAMPNS
        self._socket.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 1 << 22)
        self._socket.settimeout(0.1)
        self._is_closing = False
        self._thread = threading.Thread(target=self._read)
        self._thread.start()

    def _read(self):
        while not self._is_closing:
            with contextlib.suppress(TimeoutError):
                frame, control, _, _ = self._socket.recvmsg(2000, 64)
                packet = frame[self.ETHERNET :]
                rtp = packet[self.IP + self.UDP :]
                if packet[9] != socket.IPPROTO_UDP or len(rtp) < self.RTP or rtp[0] >> 6 != 2 or 192 <= rtp[1] <= 223:
                    continue
                seconds, nanoseconds = struct.unpack("qq", control[0][2])
                key = packet[self.IP - 8 : self.IP - 4] == self._desk, rtp[8:12]
                self._packets.setdefault(key, []).append((seconds + nanoseconds / 1e9, len(rtp)))

    def close(self):
        self._is_closing = True
        self._thread.join()
        self._socket.close()

    def bursts(self, from_desk):
        """In milliseconds since 1970, of the stream with the most bursts of that direction."""
        found = []
        for (direction, _), packets in self._packets.items():
            silence = statistics.median_low(size for _, size in packets)
            last, onsets = 0, []
            for time_, size in packets:
                if size > silence + self.MORE_THAN_SILENCE:
                    if time_ - last > self.QUIET:
                        onsets.append(1000 * time_)
                    last = time_
            if direction == from_desk:
                found.append(onsets)
        return max(found, key=len, default=[])


def stages(wire, heard):
    """Median milliseconds of each stage, of bursts as (said, heard) in milliseconds since 1970."""
    into, out = wire.bursts(False), wire.bursts(True)
    parts = []
    for said, end in heard:
        came = [time_ for time_ in into if said < time_ < end]
        went = [time_ for time_ in out if came and came[0] < time_ < end]
        if went:
            parts.append((came[0] - said, went[0] - came[0], end - went[0], end - said))
    return [statistics.median(part) for part in zip(*parts)], len(parts)


def print_stages(program, client, link):
    print(f"\nwhere the time goes, median ms of {BURSTS} bursts; no loss")
    print(f"{'tick':>6}{'between':>15}{'to the desk':>14}{'in the desk':>14}{'to the ear':>12}{'in all':>9}")
    network = own_network.LossyNetwork(link)
    for tick in (20, 10):
        for name, measure in (("two clients", burst_times_without_browsers), ("two Chromium", burst_times_of_browsers)):
            times, count, note = measure(program, client, network, tick)
            row = "".join(f"{time_:>{width}.0f}" for time_, width in zip(times, (14, 14, 12, 9)))
            print(f"{tick:>3} ms{name:>15}{row}  of {count}{note}", flush=True)
    network.close()


def two_clients(program, client, network, tick):
    """A server on the far side of a clean network, and two clients of which the first says bursts to the second."""
    network.command("loss 0")
    server = Server(program, SHOW, ticks_of(tick), network)
    crew = Crew(
        client,
        server.document([{"role": "Caller", "sound": {"bursts": 1000}, "talk": [0]}, {"role": "Caller"}]),
    )
    crew.wait_for(1, "connected")
    crew.wait_for(0, "connected")
    return server, crew


def burst_times_without_browsers(program, client, network, tick):
    server, crew = two_clients(program, client, network, tick)
    time.sleep(2)
    crew.report(1)
    wire = Wire(server.host)
    since_1970 = 1000 * (time.time() - time.monotonic())
    heard = []

    def enough():
        report = crew.report(1)
        heard.extend(
            (since_1970 + end - latency, since_1970 + end)
            for end, latency in zip(report["onsetsMs"], report["latenciesMs"])
        )
        time.sleep(0.1)
        return len(heard) >= BURSTS

    wait_until(enough, "bursts heard", BURSTS + 60)
    wire.close()
    crew.quit()
    server.stop()
    return *stages(wire, heard), ""


def burst_times_of_browsers(program, _client, network, tick):
    from crew_browser import CrewBrowser, BURST_PERIOD

    network.command("loss 0")
    server = Server(program, SHOW, ticks_of(tick), network)
    talker, listener = [CrewBrowser(f"{name}-stages-{tick}", bursts=True) for name in ("talker", "listener")]
    for browser in (talker, listener):
        browser.join(server.url, server.code, "Caller")
    talker.hold("Main")
    time.sleep(SETTLING * BURST_PERIOD / 1000)
    for browser in (talker, listener):
        browser.take_bursts("said"), browser.take_bursts("heard")
    wire = Wire(server.host)
    before = listener.statistics("inbound-rtp")
    time.sleep(BURSTS * BURST_PERIOD / 1000)
    after = listener.statistics("inbound-rtp")
    said = talker.take_bursts("said")
    ends = listener.take_bursts("heard")
    wire.close()
    for browser in (talker, listener):
        browser.close()
    server.stop()
    heard = [(max(begin for begin in said if begin < end), end) for end in ends if said[0] < end]
    buffer = 1000 * (after["jitterBufferDelay"] - before["jitterBufferDelay"]) / (
        after["jitterBufferEmittedCount"] - before["jitterBufferEmittedCount"]
    )  # fmt: skip
    return *stages(wire, heard), f"; its jitter buffer {buffer:.0f} ms of it"


def latency_without_browsers(program, client, network, tick, loss):
    server, crew = two_clients(program, client, network, tick)
    network.command(f"loss {loss}")
    crew.report(1)
    found = []

    def enough():
        found.extend(crew.report(1)["latenciesMs"])
        time.sleep(0.1)
        return len(found) >= BURSTS

    wait_until(enough, "bursts heard", BURSTS + 60)
    network.command("loss 0")
    crew.quit()
    server.stop()
    return found


def latency_between_browsers(program, network, tick, loss):
    from crew_browser import CrewBrowser, latencies

    network.command("loss 0")
    server = Server(program, SHOW, ticks_of(tick), network)
    browsers = [CrewBrowser(f"{name}-{tick}-{loss}", bursts=True) for name in ("talker", "listener")]
    for browser in browsers:
        browser.join(server.url, server.code, "Caller")
    browsers[0].hold("Main")
    network.command(f"loss {loss}")
    latencies(*browsers, SETTLING)
    found = latencies(*browsers, BURSTS)
    network.command("loss 0")
    for browser in browsers:
        browser.close()
    server.stop()
    return found


def print_latency(program, client, link):
    print(f"\nmouth to ear, ms, median / 95 % of {BURSTS}; loss each way")
    print(f"{'tick':>6}{'loss':>7}{'two clients':>15}{'two Chromium':>15}{'earlier, two Chromium':>25}")
    network = own_network.LossyNetwork(link)
    for tick in (20, 10):
        for loss in (0, 2, 10):
            bare = middle_and_worst(latency_without_browsers(program, client, network, tick, loss))
            real = middle_and_worst(latency_between_browsers(program, network, tick, loss))
            earlier = EARLIER_LATENCY.get((tick, loss), "")
            print(f"{tick:>3} ms{loss:>5} %{bare:>15}{real:>15}{earlier:>25}", flush=True)
    network.close()


def grant_real_time_priority():
    """As RealtimeKit does for an ordinary user: to the audio threads of the servers that are started from now on, from
    outside of their namespaces. And a high priority to the clients, which stand for devices with processors of their
    own. Needs the right to; without it the priority stays refused."""
    bench = os.getpid()
    if os.fork() != 0:
        return
    while os.getppid() == bench:
        for comm in glob.glob("/proc/[0-9]*/task/*/comm"):
            with contextlib.suppress(OSError):
                with open(comm, encoding="utf-8") as file:
                    name, thread = file.read().strip(), int(comm.split("/")[4])
                if name in AUDIO_THREADS:
                    os.sched_setscheduler(thread, os.SCHED_RR, os.sched_param(AUDIO_THREADS[name]))
                elif name == "crew_client":
                    os.setpriority(os.PRIO_PROCESS, thread, -20)
        time.sleep(0.1)
    os._exit(0)


@contextlib.contextmanager
def all_cores_busy():
    workers = [subprocess.Popen([sys.executable, "-c", "while True: pass"]) for _ in range(2 * (os.cpu_count() or 1))]
    try:
        yield
    finally:
        for worker in workers:
            worker.kill()
            worker.wait()


def join_in_waves(crew, people):
    for begin in range(0, people, WAVE):
        wave = range(begin, min(begin + WAVE, people))
        for number in wave:
            crew.tell(f"{number} join")
        for number in wave:
            crew.wait_for(number, "connected", timeout=120)


def processor_ticks():
    """Of all processors since the computer started: (taken by other virtual machines, all)."""
    with open("/proc/stat", encoding="ascii") as file:
        ticks = [int(word) for word in file.readline().split()[1:9]]
    return ticks[7], sum(ticks)


def measure_crowd(program, client, people, talking, tick, load):
    """All hear those who talk, on one channel."""
    server = Server(program, SHOW, ticks_of(tick))
    empty = server.resident_megabytes()
    addresses = own_addresses()
    members = [{"role": "Caller", "source": next(addresses), "deaf": True, "joins": False} for _ in range(people)]
    for number, member in enumerate(members[:talking]):
        member.update(sound={"tone": 300 + 100 * number, "amplitude": 0.02}, talk=[0])
    crew = Crew(client, server.document(members))
    join_in_waves(crew, people)
    with load():
        crew.report(0)
        begin, before, taken = time.monotonic(), server.processor_seconds(), processor_ticks()
        time.sleep(SECONDS)
        after, seconds = server.processor_seconds(), time.monotonic() - begin
        taken = [now - then for now, then in zip(processor_ticks(), taken)]
        report = crew.report(0)
    assert crew.count("ended") == 0, "members were disconnected"
    memory, threads = server.resident_megabytes(), server.threads()
    said = server.stop()
    crew.quit()
    late, ticks = missed_deadlines(said)
    percent = {name: 100 * (spent - before.get(name, 0)) / seconds for name, spent in after.items()}
    return {
        "all": sum(percent.values()),
        "mixer": percent["mixer"],
        "network": percent["network"],
        "late": f"{late}" + (f" of {ticks}" if ticks else ""),
        "memory": memory,
        "each": 1024 * (memory - empty) / people,
        "threads": threads,
        "taken": 100 * taken[0] / max(1, taken[1]),
        "pause": report["longestPauseMs"],
    }


def print_crowds(program, client):
    print(
        f"\n{SECONDS:.0f} s; processor: the server's share of one, %, with its mixer and network threads; "
        "busy: other programs take all of every core; taken: by other virtual machines, % of all cores"
    )
    print(
        f"{'people':>8}{'talking':>9}{'tick':>8}{'busy':>6}{'processor':>11}{'mixer':>7}{'network':>9}{'late ticks':>15}"
        f"{'MB':>6}{'KB each':>9}{'threads':>9}{'taken':>7}{'longest pause ms':>18}"
    )
    loads = [(20, contextlib.nullcontext), (10, contextlib.nullcontext), (20, all_cores_busy)]
    builds = {"": program, **({"  earlier": EARLIER} if EARLIER else {})}
    for (people, talking), (tick, load), (name, server) in itertools.product(CROWDS, loads, builds.items()):
        found = measure_crowd(server, client, people, talking, tick, load)
        print(
            f"{people:>8}{talking:>9}{tick:>5} ms{'yes' if load is all_cores_busy else 'no':>6}{found['all']:>11.0f}"
            f"{found['mixer']:>7.0f}{found['network']:>9.0f}{found['late']:>15}{found['memory']:>6.0f}{found['each']:>9.0f}"
            f"{found['threads']:>9}{found['taken']:>7.0f}{found['pause']:>18.0f}{name}",
            flush=True,
        )


def measure_loss(program, network, loss, burst):
    """What a page makes of a tone that another one sends while packets are lost each way."""
    from crew_browser import CrewBrowser, latencies

    network.command("loss 0")
    server = Server(program, SHOW, {}, network)
    browsers = [CrewBrowser(f"{name}-{loss}-{burst}", bursts=True) for name in ("speaking", "hearing")]
    talker, listener = browsers
    for browser in browsers:
        browser.join(server.url, server.code, "Caller")
    talker.hold("Main")
    network.command(f"loss {loss} {burst}")
    time.sleep(5)  # to adapt
    before = listener.statistics("inbound-rtp")
    talked = talker.statistics("outbound-rtp")
    latencies(talker, listener, 1)
    heard = latencies(talker, listener, int(2 * SECONDS))
    after = listener.statistics("inbound-rtp")
    said = talker.statistics("outbound-rtp")
    network.command("loss 0")
    for browser in browsers:
        browser.close()
    server.stop()

    def since(key):
        return after.get(key, 0) - before.get(key, 0)

    return {
        "concealed": 100 * since("concealedSamples") / since("totalSamplesReceived"),
        "waited": 1000 * since("jitterBufferDelay") / max(1, since("jitterBufferEmittedCount")),
        "copies": since("fecPacketsReceived"),
        "bytes": (said["bytesSent"] - talked["bytesSent"]) / max(1, said["packetsSent"] - talked["packetsSent"]),
        "heard": heard,
    }


def print_loss(program, link):
    print(f"\nloss each way, two Chromium, {SECONDS:.0f} s after the first five")
    print(f"{'loss':>20}{'concealed %':>13}{'jitter buffer ms':>18}{'copies got':>12}{'bytes sent':>12}"
          f"{'said to heard, ms':>20}")  # fmt: skip
    network = own_network.LossyNetwork(link)
    for loss, burst in ((0, 1), (10, 1), (30, 1), (20, 3)):
        found = measure_loss(program, network, loss, burst)
        name = f"{loss} %" + (f", {burst} at a time" if burst > 1 else "")
        print(f"{name:>20}{found['concealed']:>13.1f}{found['waited']:>18.0f}{found['copies']:>12}{found['bytes']:>12.0f}"
              f"{middle_and_worst(found['heard']):>20}", flush=True)  # fmt: skip
    network.close()


def print_joining(program, client):
    """One after another."""
    server = Server(program, SHOW)
    joined, connected = [], []
    for address, _ in zip(own_addresses(), range(20)):
        crew = Crew(client, server.document([{"role": "Caller", "source": address, "sound": {"tone": 1000}}]))
        joined.append(crew.wait_for(0, "joined")["ms"])
        connected.append(crew.wait_for(0, "connected")["ms"])
        crew.tell("0 leave")
        crew.wait_for(0, "left")
        crew.quit()
    server.stop()
    print(f"\njoin to its answer:   {middle_and_worst(joined)} ms (median / 95 %)")
    print(f"join to connected:    {middle_and_worst(connected)} ms; earlier 170-320 ms, in Chromium")


def print_restarts(program, client):
    print(f"\nseconds from when the crew lose the server until everybody hears again\n{'people':>8}", end="")
    print("".join(f"{way:>22}" for way in restarts.WAYS))
    for count in RESTARTED:
        server = Server(program, SHOW)
        crew = restarts.join(server, client, count)
        row = [restarts.seconds_until_all_hear(server, crew, count, way) for way in restarts.WAYS.values()]
        print(f"{count:>8}" + "".join(f"{seconds:>22.2f}" for seconds in row), flush=True)
        crew.quit()
        server.stop()


def osc_packet(address, text):
    def padded(word):
        encoded = word.encode() + b"\0"
        return encoded + bytes(-len(encoded) % 4)

    return padded(address) + padded(",s") + padded(text)


def send_announcement(sender, server):
    """When it was sent, in seconds of both clocks."""
    now = time.monotonic(), time.time()
    sender.sendto(osc_packet("/wingbell/say", "Attention"), ("127.0.0.1", server.port))
    return now


def print_announcements(program, client):
    """One packet after the other, heard by a client and by a page."""
    from crew_browser import CrewBrowser

    server = Server(program, SHOW)
    crew = Crew(client, server.document([{"role": "Caller"}]))
    crew.wait_for(0, "connected")
    browser = CrewBrowser("announced", bursts=True)
    browser.join(server.url, server.code, "Caller")
    bare, real = [], []
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as sender:
        for number in range(ANNOUNCEMENTS + 1):
            begin = crew.mark()
            crew.report(0)
            browser.take_bursts("heard")
            monotonic, since_1970 = send_announcement(sender, server)
            for announcing in (True, False):
                crew.wait_for(
                    0, "desk", lambda event, now=announcing: event["data"]["channels"][0]["announcing"] == now, begin
                )
                begin = crew.mark()
            heard = crew.report(0)["onsetsMs"]
            if number == 0:  # includes one-time initialisation, and the page may not listen yet
                continue
            page = wait_until(lambda: browser.take_bursts("heard"), "the announcement in the page")
            bare.append(heard[0] - 1000 * monotonic)
            real.append(page[0] - 1000 * since_1970)
    browser.close()
    crew.quit()
    server.stop()
    print(f"OSC packet to sound:  {middle_and_worst(bare)} ms in a client, {middle_and_worst(real)} ms in Chromium; "
          "earlier 83-102 ms in Chromium")  # fmt: skip


def main():
    grant_real_time_priority()
    own_network.enter()
    program, client, link = sys.argv[1:4]
    print_crowds(program, client)
    print_joining(program, client)
    print_restarts(program, client)
    print_announcements(program, client)
    print_latency(program, client, link)
    print_stages(program, client, link)
    print_loss(program, link)


main()
