#!/usr/bin/env -S python3 -B
"""An operator's day with the programs themselves: started by a service manager, looked at, told, backed up.
usage: operator_day.py BIN       the folder with zephyld and zephyl"""
import contextlib, json, os, queue, re, resource, signal, socket, subprocess, sys, tarfile, tempfile, threading
import urllib.request

from person import Person

BIN = sys.argv[1]
WORK = tempfile.TemporaryDirectory(prefix="operator-")
DATA = os.path.join(WORK.name, "data")
CONFIG = os.path.join(WORK.name, "zephyld.toml")
LOG = os.path.join(WORK.name, "log")
PASSWORD = os.path.join(WORK.name, "password")
SECRET, TEXT = "Wal5fisch", "nobody else's business"


def path(name):
    return os.path.join(WORK.name, name)


def zephyld(*words, ok=True, says="", limit=None):
    """What it printed, on both. `limit`: bytes that a file may have, as a full disk."""
    limits = (lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (limit, limit))) if limit else None
    done = subprocess.run([f"{BIN}/zephyld", *words], stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          timeout=60, preexec_fn=limits, stdin=subprocess.DEVNULL)
    assert (done.returncode == 0) == ok, (words, done.returncode, done.stdout)
    assert says in done.stdout, (words, done.stdout)
    return done.stdout


def asked(*words, **more):
    return zephyld(words[0], "--data", DATA, *words[1:], **more)


class Manager:
    """Opens the socket, starts the service with it, and hears what that says of itself. A deaf one hears nothing
    after its start, and what is said to it piles up."""

    def __init__(self, data, deaf=False):
        self.heard, self.deaf = queue.Queue(), deaf
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        name = path("notify")
        with contextlib.suppress(FileNotFoundError):
            os.unlink(name)
        self.socket.bind(name)
        threading.Thread(target=self.hear, daemon=True).start()
        listening = socket.create_server(("127.0.0.1", 0))
        self.port = listening.getsockname()[1]
        more = {"NOTIFY_SOCKET": name, "LISTEN_FDS": "1", "WATCHDOG_USEC": "2000" if deaf else "200000"}
        given = listening.fileno()
        # The shell's number is the service's: who exec's keeps it.
        self.process = subprocess.Popen(
            ["sh", "-c", f'[ {given} = 3 ] || exec 3<&{given}; LISTEN_PID=$$; export LISTEN_PID; exec "$@"', "sh",
             f"{BIN}/zephyld", "serve", "--config", CONFIG, "--data", data],
            env={**os.environ, **more}, pass_fds=[given], stdout=subprocess.PIPE, stderr=open(LOG, "a"), text=True)
        listening.close()
        ready = self.process.stdout.readline().split()
        assert ready[:2] == ["zephyld", "ready"] and ready[2] == f"127.0.0.1:{self.port}", ready
        self.key = ready[3]
        self.wait("READY=1")

    def hear(self):
        while True:
            words = self.socket.recv(4096).decode().split("\n")
            self.heard.put(words)
            if self.deaf and "READY=1" in words:
                return

    def wait(self, what, ignoring=("WATCHDOG=1",)):
        """The next word that is not ignored must be this one."""
        while True:
            words = self.heard.get(timeout=30)
            if what in words:
                return
            assert words[0] in ignoring, words

    def stop(self):
        self.process.send_signal(signal.SIGTERM)
        if not self.deaf:
            self.wait("STOPPING=1", ignoring=("WATCHDOG=1", "RELOADING=1", "READY=1"))
        assert self.process.wait(30) == 0


def joined(service, handle, do="join"):
    person = Person(f"{BIN}/zephyl", f"127.0.0.1:{service.port}", service.key, handle, SECRET, WORK.name)
    person.ask(do=do, code="standup")
    return person


def configure(text):
    with open(CONFIG, "w") as file:
        file.write(text)


def log():
    with open(LOG) as file:
        return file.read()


def day():
    os.umask(0o077)
    with open(PASSWORD, "w") as file:
        file.write(SECRET + "\n")
    for handle in ("ann", "bob", "10.0.0.1"):
        zephyld("user", "add", "--data", DATA, "--password-file", PASSWORD, handle)
    assert [one["handle"] for one in json.loads(zephyld("user", "list", "--json", "--data", DATA))] == [
        "10.0.0.1", "ann", "bob"]
    assert len({line.index("permitted") for line in zephyld("user", "list", "--data", DATA).splitlines()}) == 1
    configure('metrics_listen = "127.0.0.1:0"\nlog_format = "json"\n')
    asked("status", ok=False, says="no service answers")
    zephyld("user", "list", "--data", path("elsewhere"), ok=False, says="there is no folder")
    asked("doctor", "--config", CONFIG, says="none runs")
    service = Manager(DATA)
    service.wait("WATCHDOG=1")

    ann, bob = joined(service, "ann", "create"), joined(service, "bob")
    bob.ask(do="deliver", to=["ann"], text=TEXT)
    status = json.loads(asked("status", "--json"))
    assert [one["handle"] for one in status["meetings"][0]["attendees"]] == ["ann", "bob"], status
    assert "meeting standup: 2 attendees" in asked("status")
    with urllib.request.urlopen(f"http://{status['metrics']}/health") as answer:
        assert json.load(answer)["status"] == "ok"
    asked("doctor", "--config", CONFIG, says=f"ok    service")

    # What cannot be used changes nothing, and says why; what can is taken while people are there.
    configure("no_such_key = 1\n")
    asked("reload", ok=False, says="no_such_key")
    service.wait("RELOADING=1")
    service.wait("READY=1")
    asked("doctor", "--config", CONFIG, ok=False, says="no_such_key")
    service.process.send_signal(signal.SIGHUP)
    service.wait("RELOADING=1")
    service.wait("READY=1")
    configure('metrics_listen = "127.0.0.1:0"\nlog_format = "text"\nlog_level = "debug"\n')
    before = log()
    asked("reload", says="log_format takes effect")
    asked("kick", "standup", "bob")
    asked("unkick", "standup", "bob")
    asked("unkick", "standup", "bob", ok=False, says="not kicked")
    bob.end()
    named = re.compile(r"\b(ann|bob|standup)\b")
    assert not named.search(before), before
    assert "not read again" in before and "no_such_key" in before
    assert named.search(log()[len(before):]), "the level debug names people"
    for secret in (SECRET, TEXT):
        assert secret not in log()
    for line in log().splitlines():
        assert {"time", "level", "message"} == json.loads(line).keys(), line
    for person in status["meetings"][0]["attendees"]:
        assert person["log_name"] in before

    hostile = "a\x1b]0;x\a\nzephyld: ready"
    for words in (["close", hostile], ["ban", hostile], ["unban", "192.0.2.1"], ["ban", "10.0.0.0/7"],
                  ["ban", "0.0.0.0/0"], ["ban", "192.0.2.0/33"], ["ban", "nobody"], ["ban", "--for", "1y", "bob"],
                  ["ban", "--for", "-1h", "bob"], ["ban", "--for", "99999999999d", "bob"]):
        told = asked(*words, ok=False)
        assert told.count("\n") == 1 and "\x1b" not in told and "\a" not in told, told
    assert asked("ban", "--for", "1h", "192.0.2.77/24") == "banned: 192.0.2.0/24\n"
    assert asked("ban", "10.0.0.1") == "", "an address, though somebody is called so"
    asked("ban", "--for", "2s", "bob")
    bans = json.loads(asked("status", "--json"))["bans"]
    assert {"address": "10.0.0.1", "until": None} in bans and len(bans) == 3, bans
    for whom in ("192.0.2.0/24", "10.0.0.1", "BOB"):
        asked("unban", whom)
    asked("ban", "127.0.0.1")  # where the operator sits, too
    asked("unban", "127.0.0.1")

    # Backups: never over a file, never half of one.
    archive = path("backup.tar")
    with open(path("there.tar"), "w") as file:
        file.write("mine")
    asked("backup", path("there.tar"), ok=False, says="exists already")
    assert open(path("there.tar")).read() == "mine"
    asked("backup", archive, ok=False, says="Make room", limit=8192)
    assert sorted(name for name in os.listdir(WORK.name) if "backup" in name) == []
    asked("backup", archive, says="1 meeting")
    assert os.stat(archive).st_mode & 0o777 == 0o600
    with tarfile.open(archive) as tar:
        names = tar.getnames()
    assert {"accounts.sqlite", "key.pem", "SHA256SUMS"} < set(names), names
    asked("restore", archive, ok=False, says="another zephyld serves")
    asked("doctor", "--config", CONFIG, "--backup", archive, says="is whole: 1 meeting,")
    asked("doctor", "--config", CONFIG, "--backup", path("there.tar"), ok=False, says="there.tar is")
    ann.end()
    asked("close", "standup")
    assert json.loads(asked("status", "--json"))["meetings"] == []
    service.stop()

    asked("backup", path("stopped.tar"), says="0 meetings")
    asked("backup", path("stopped2.tar"), ok=False, says="Make room", limit=40960)
    asked("restore", archive, ok=False, says="already")
    other = path("restored")
    zephyld("restore", "--data", other, archive, says="1 meeting")
    service = Manager(other, deaf=True)
    assert service.key == status["fingerprint"]
    joined(service, "ann").end()
    for _ in range(20):  # more than are waited for
        zephyld("reload", "--data", other)
    service.stop()

    os.chmod(os.path.join(other, "key.pem"), 0o644)
    zephyld("doctor", "--data", other, ok=False, says="chmod 600")
    os.remove(os.path.join(other, "key.pem"))
    zephyld("doctor", "--data", other, ok=False, says="from a backup")
    os.remove(os.path.join(other, "certificate.pem"))
    zephyld("doctor", "--data", other, says="the first start makes it")
    for days, mark in ((-1, "BAD   certificate"), (3, "mind  certificate"), (300, "ok    certificate")):
        for words in (["req", "-new", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-subj", "/CN=x",
                       "-keyout", path("k.pem"), "-out", path("csr")],
                      ["x509", "-req", "-in", path("csr"), "-signkey", path("k.pem"), "-days", str(days), "-out",
                       path("c.pem")]):
            subprocess.run(["openssl", *words], check=True, capture_output=True)
        configure(f"key = '{path('k.pem')}'\ncertificate = '{path('c.pem')}'\n")
        zephyld("doctor", "--data", DATA, "--config", CONFIG, ok=days > 0, says=mark)


with WORK:
    try:
        day()
    except BaseException:
        sys.stderr.write(log()[-4000:] if os.path.exists(LOG) else "")
        raise
