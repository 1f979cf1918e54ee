#!/usr/bin/env python3
"""Nothing lost, nothing twice: private messages from senders on one velmorad
node to a real Velmora client on another, while the client is killed with
SIGKILL and started again at random moments, the client's node is killed and
started again, and (as root, with ip netns) the client's network link is cut
for a moment.

The whole system is real: a PostgreSQL server and a redis-server of the run's
own (on Unix sockets in a fresh folder), two velmorad nodes joined through
them, the velmora program of the build under the offscreen platform, logging
in by itself with saved details and delivery receipts, and senders speaking
the wire protocol. At the end every message the server accepted must stand
in the client's history exactly once, each sender's in the order sent.
Prints one line a script can read:

  RESULT mode=chaos sent=N accepted=N delivered=N lost=N duplicated=N out_of_order=N ...

and exits 1 when a message was lost, doubled or out of order, 2 when the run
itself could not be set up.

  delivery_chaos.py --build build --messages 10000 --senders 4 --seconds 120
"""

import argparse
import os
import random
import re
import shutil
import signal
import socket
import sqlite3
import subprocess
import sys
import tempfile
import threading
import time

RECEIVER, PASSWORD = "bobby", "bobby1"


def log(text):
    print(f"[{time.strftime('%H:%M:%S')}] {text}", flush=True)


def run(command, **kw):
    return subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, **kw)


class Postgres:
    def __init__(self, folder):
        self.folder = folder
        found = sorted(
            (d for d in os.listdir("/usr/lib/postgresql") if os.path.exists(f"/usr/lib/postgresql/{d}/bin/pg_ctl")),
            key=float) if os.path.isdir("/usr/lib/postgresql") else []
        self.bin = f"/usr/lib/postgresql/{found[-1]}/bin/" if found else ""
        self.prefix = []
        if os.geteuid() == 0:  # postgres refuses to run as root
            self.prefix = ["runuser", "-u", "nobody", "--"]
            shutil.chown(folder, "nobody")
        data = os.path.join(folder, "data")
        run(self.prefix + [self.bin + "initdb", "-D", data, "-U", "velmora", "--auth=trust", "-E", "UTF8",
                           "--no-locale", "--no-sync"])
        run(self.prefix + [self.bin + "pg_ctl", "-D", data, "-l", os.path.join(folder, "pg.log"), "-w", "-o",
                           f"-k {folder} -c listen_addresses='' -c fsync=off", "start"])
        run(self.prefix + [self.bin + "createdb", "-h", folder, "-U", "velmora", "velmora"])
        self.uri = f"postgresql://velmora@/velmora?host={folder}"

    def query(self, sql):
        out = subprocess.run(self.prefix + [self.bin + "psql", "-h", self.folder, "-U", "velmora", "-d", "velmora",
                                            "-Atc", sql], check=True, capture_output=True, text=True).stdout
        return out.strip()

    def stop(self):
        subprocess.run(self.prefix + [self.bin + "pg_ctl", "-D", os.path.join(self.folder, "data"), "-m",
                                      "immediate", "-w", "stop"], capture_output=True)


class Redis:
    def __init__(self, folder):
        self.socket = os.path.join(folder, "redis.sock")
        self.process = subprocess.Popen(["redis-server", "--port", "0", "--unixsocket", self.socket, "--save", "",
                                         "--appendonly", "no", "--logfile", os.path.join(folder, "redis.log")])
        for _ in range(500):
            if os.path.exists(self.socket):
                break
            time.sleep(0.01)
        self.url = "unix://" + self.socket

    def stop(self):
        self.process.kill()
        self.process.wait()


class Link:
    """The client's own network namespace, joined to the host by a veth pair
    that can be cut; only as root with ip netns."""

    def __init__(self):
        tag = str(os.getpid() % 100000)
        self.ns, self.host_if, self.client_if = f"velmora-chaos{tag}", f"vh{tag}", f"vc{tag}"
        self.host_ip, self.client_ip = "169.254.78.1", "169.254.78.2"
        self.ok = False
        if os.geteuid() != 0 or not shutil.which("ip"):
            return
        steps = [f"ip netns add {self.ns}",
                 f"ip link add {self.host_if} type veth peer name {self.client_if} netns {self.ns}",
                 f"ip addr add {self.host_ip}/24 dev {self.host_if}", f"ip link set {self.host_if} up",
                 f"ip -n {self.ns} addr add {self.client_ip}/24 dev {self.client_if}",
                 f"ip -n {self.ns} link set {self.client_if} up", f"ip -n {self.ns} link set lo up"]
        self.ok = all(subprocess.run(s, shell=True, capture_output=True).returncode == 0 for s in steps)

    def wrap(self, command):
        return ["ip", "netns", "exec", self.ns] + command if self.ok else command

    def set(self, up):
        subprocess.run(f"ip -n {self.ns} link set {self.client_if} {'up' if up else 'down'}", shell=True)

    def remove(self):
        subprocess.run(f"ip netns del {self.ns}; ip link del {self.host_if}", shell=True, capture_output=True)


class Node:
    def __init__(self, velmorad, name, db, bus, folder, host, port=0):
        self.args = [velmorad, "--listen", f"{host}:{port}", "--db", db, "--bus", bus, "--node", name,
                     "--heartbeat-ms", "200", "--hash-cost", "fast", "--commands-per-second", "0",
                     "--max-offline-per-user", "1000000", "--max-pending-bytes", "16777216",
                     "--dead-peer-s", "10"]
        self.log_path = os.path.join(folder, f"node-{name}.log")
        self.log = open(self.log_path, "ab")
        self.name = name
        self.start()

    def start(self):
        self.process = subprocess.Popen(self.args, stdout=subprocess.PIPE, stderr=self.log)
        line = self.process.stdout.readline().decode()
        match = re.match(r"listening on (\S+):(\d+)", line)
        if not match:
            raise RuntimeError(f"node {self.name} did not start: {line!r}")
        self.port = int(match.group(2))
        self.args[2] = f"{match.group(1)}:{self.port}"  # the same port when started again

    def kill(self):
        self.process.kill()
        self.process.wait()

    def stop(self):
        self.process.terminate()
        self.process.wait()

    def logins(self, name):
        with open(self.log_path, errors="replace") as lines:
            return sum(1 for line in lines if f" {name} logged in" in line)

    def await_login(self, name, before, seconds=30):
        """Waits until `name` has logged in here once more than `before`
        times: the next blow falls on a client that is back."""
        end = time.time() + seconds
        while self.logins(name) <= before and time.time() < end:
            time.sleep(0.05)


class Sender(threading.Thread):
    """One user sending `count` numbered messages to the receiver, and
    counting what the server answered: a message is accepted once the server
    has handled it (a round trip after the last one proves that)."""

    def __init__(self, name, port, count, rate):
        super().__init__(daemon=True)
        self.name, self.count, self.rate = name, count, rate
        self.sock = socket.create_connection(("127.0.0.1", port))
        self.sock.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
        self.received = b""
        self.lock = threading.Lock()
        self.reader = threading.Thread(target=self._read, daemon=True)
        self.reader.start()
        self.sock.sendall(f" ## cmdLI /:/ {name} /:/ secret /:/ 1.4".encode())
        self.wait_for(b" ## +BL /$/ ")
        self.sent = 0

    def _read(self):
        while True:
            try:
                chunk = self.sock.recv(65536)
            except OSError:
                return
            if not chunk:
                return
            with self.lock:
                self.received += chunk

    def wait_for(self, marker, timeout=30):
        end = time.time() + timeout
        while time.time() < end:
            with self.lock:
                if marker in self.received:
                    return True
            time.sleep(0.01)
        return False

    def run(self):
        start = time.time()
        for i in range(1, self.count + 1):
            self.sock.sendall(f" ## cmdPM /:/ {self.name} /:/ {RECEIVER} /:/ {self.name}-{i:06d} /:/ Arial /:/ "
                              f"10 /:/ ".encode())
            self.sent = i
            ahead = start + i / self.rate - time.time()
            if ahead > 0:
                time.sleep(ahead)

    def settle(self):
        """Everything sent has been handled once the answer to a search is back."""
        token = f"sync{random.randrange(10**9)}"
        self.sock.sendall(f" ## cmdSU /:/ {token}".encode())
        return self.wait_for(b" ## +SU /$/ ", timeout=60)

    def refused(self):
        with self.lock:
            return self.received.count(b"mailbox of")


class Receiver:
    """The real client program on a folder of its own, logging in by itself."""

    def __init__(self, velmora, folder, port, link):
        self.velmora, self.folder, self.link = velmora, folder, link
        self.host = link.host_ip if link.ok else "127.0.0.1"
        os.makedirs(folder, exist_ok=True)
        with open(os.path.join(folder, "Velmora.ini"), "w") as ini:
            ini.write(f"[Login Options]\nL-User={RECEIVER}\nL-Pass={PASSWORD}\nL-Check=1\nL-Auto-Connect=1\n"
                      "[Settings]\nNotify=0\n")
        with open(os.path.join(folder, "IMServers.ini"), "w") as ini:
            ini.write(f"[Servers]\nCount=1\nServer1={self.host}:{port}\n")
        self.log = open(os.path.join(folder, "client.log"), "ab")
        self.process = None
        self.starts = 0

    def start(self):
        env = dict(os.environ, QT_QPA_PLATFORM="offscreen")
        self.process = subprocess.Popen(self.link.wrap([self.velmora, "--home", self.folder]), env=env,
                                        stdout=self.log, stderr=self.log)
        self.starts += 1

    def kill(self):
        if self.process:
            self.process.send_signal(signal.SIGKILL)
            self.process.wait()
            self.process = None

    def stop(self):
        if self.process:
            self.process.terminate()
            try:
                self.process.wait(20)
            except subprocess.TimeoutExpired:
                self.kill()
            self.process = None

    def lines(self):
        """The received messages in the history, in the order stored."""
        path = os.path.join(self.folder, "history.db")
        if not os.path.exists(path):
            return []
        db = sqlite3.connect(f"file:{path}?mode=ro", uri=True, timeout=5)
        try:
            return [row[0] for row in db.execute(
                "SELECT body FROM lines WHERE owner = ? COLLATE NOCASE AND room = 0 AND sender <> ? COLLATE NOCASE "
                "ORDER BY id", (RECEIVER, RECEIVER))]
        except sqlite3.Error:
            return []
        finally:
            db.close()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--build", default="build", help="the build folder holding velmorad and velmora")
    parser.add_argument("--messages", type=int, default=10000, help="messages in all")
    parser.add_argument("--senders", type=int, default=4)
    parser.add_argument("--seconds", type=float, default=60, help="how long the senders take")
    parser.add_argument("--client-kills", type=int, default=6)
    parser.add_argument("--node-kills", type=int, default=1)
    parser.add_argument("--link-cuts", type=int, default=1)
    parser.add_argument("--seed", type=int, default=None)
    parser.add_argument("--keep", action="store_true", help="keep the run's folder")
    args = parser.parse_args()
    seed = args.seed if args.seed is not None else random.randrange(10**6)
    random.seed(seed)
    velmorad = os.path.abspath(os.path.join(args.build, "server", "velmorad"))
    velmora = os.path.abspath(os.path.join(args.build, "src", "app", "velmora"))
    for program in (velmorad, velmora):
        if not os.access(program, os.X_OK):
            print(f"{program} not found: build first", file=sys.stderr)
            return 2
    if not shutil.which("redis-server"):
        print("redis-server not found", file=sys.stderr)
        return 2

    folder = tempfile.mkdtemp(prefix="velmora-chaos-")
    os.chmod(folder, 0o755)
    pg = redis = link = None
    nodes, senders, receiver = [], [], None
    try:
        pgdir = os.path.join(folder, "pg")
        os.makedirs(pgdir)
        pg = Postgres(pgdir)
        redis = Redis(folder)
        link = Link() if args.link_cuts else Link.__new__(Link)
        if not args.link_cuts:
            link.ok = False
        names = [f"sender{i}" for i in range(args.senders)]
        for name, password in [(RECEIVER, PASSWORD)] + [(n, "secret") for n in names]:
            run([velmorad, "useradd", name, password, "--db", pg.uri, "--hash-cost", "fast"])
        node_a = Node(velmorad, "a", pg.uri, redis.url, folder, "127.0.0.1")
        node_b = Node(velmorad, "b", pg.uri, redis.url, folder, "0.0.0.0" if link.ok else "127.0.0.1")
        nodes = [node_a, node_b]
        receiver = Receiver(velmora, os.path.join(folder, "client"), node_b.port, link)
        receiver.start()
        each = args.messages // args.senders
        senders = [Sender(n, node_a.port, each, each / args.seconds) for n in names]
        log(f"seed {seed}; {each * len(senders)} messages from {len(senders)} senders over {args.seconds:.0f} s"
            f"{'' if link.ok else '; no link cuts (needs root and ip netns)'}")
        for s in senders:
            s.start()

        # The chaos, at random moments of the sending, one event at a time.
        events = ["client"] * args.client_kills + ["node"] * args.node_kills + ["link"] * (args.link_cuts if link.ok else 0)
        times = sorted(random.uniform(0.05, 0.9) * args.seconds for _ in events)
        random.shuffle(events)
        began = time.time()
        # Each blow: what it downs, how long it stays down, what brings it back.
        blows = {"client": ("client killed", receiver.kill, (0.2, 2.0), receiver.start),
                 "node": ("node b killed", node_b.kill, (0.5, 2.0), node_b.start),
                 "link": ("link cut", lambda: link.set(False), (0.5, 3.0), lambda: link.set(True))}
        for at, event in zip(times, events):
            time.sleep(max(0.0, began + at - time.time()))
            logins = node_b.logins(RECEIVER)
            what, down, pause, up = blows[event]
            down()
            log(f"{what} at message {sum(s.sent for s in senders)}")
            time.sleep(random.uniform(*pause))
            up()
            if event != "link":
                # A login that fails at start asks its user (a box): the
                # chaos waits for the client to be back before it goes on.
                node_b.await_login(RECEIVER, logins)
        for s in senders:
            s.join()
        settled = all(s.settle() for s in senders)
        sent = sum(s.sent for s in senders)
        refused = sum(s.refused() for s in senders)
        accepted = sent - refused if settled else 0
        log(f"{sent} sent, {accepted} accepted; waiting for the client to hold them")

        expected = {f"{s.name}-{i:06d}" for s in senders for i in range(1, s.count + 1)}
        deadline = time.time() + max(120.0, args.messages / 50)
        lines = []
        while time.time() < deadline:
            lines = receiver.lines()
            waiting = pg.query("SELECT count(*) FROM offline")
            if expected <= set(lines) and waiting == "0":
                break
            if receiver.process and receiver.process.poll() is not None:
                log("the client ended by itself; started again")
                receiver.start()
            time.sleep(1)
        receiver.stop()
        lines = receiver.lines()
        waiting = pg.query("SELECT count(*) FROM offline")

        seen, duplicated, disorder = {}, 0, 0
        last = {}
        for body in lines:
            if body not in expected:
                continue
            seen[body] = seen.get(body, 0) + 1
            if seen[body] > 1:
                duplicated += 1
                continue
            name, number = body.rsplit("-", 1)
            if int(number) < last.get(name, 0):
                disorder += 1
            last[name] = max(last.get(name, 0), int(number))
        delivered = len(seen)
        lost = len(expected) - delivered
        print(f"RESULT mode=chaos sent={sent} accepted={accepted} delivered={delivered} lost={lost} "
              f"duplicated={duplicated} out_of_order={disorder} still_stored={waiting} "
              f"client_starts={receiver.starts} node_kills={args.node_kills} "
              f"link_cuts={args.link_cuts if link.ok else 0} seed={seed}", flush=True)
        if lost or duplicated or disorder or not settled or refused:
            log(f"folder kept for a look: {folder}")
            args.keep = True
            return 1
        return 0
    finally:
        if receiver:
            receiver.kill()
        for node in nodes:
            node.stop()
        if redis:
            redis.stop()
        if pg:
            pg.stop()
        if link and link.ok:
            link.remove()
        if not args.keep:
            shutil.rmtree(folder, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
