#!/usr/bin/env python3
"""A whole cluster on this machine, brought up, looked at, hurt, brought up again, and ended.
usage: cluster_up.py SOURCE BIN       BIN: the folder with zephyld and zephyl"""
import glob, json, os, shutil, signal, subprocess, sys, tempfile

SOURCE, BIN = sys.argv[1:3]
if not (shutil.which("nats-server") and glob.glob("/usr/lib/postgresql/*/bin/postgres")):
    print("neither nats-server nor PostgreSQL here")
    sys.exit(77)
WORK = tempfile.TemporaryDirectory(prefix="cluster-")
os.chmod(WORK.name, 0o711)
DIR = os.path.join(WORK.name, "it")
PASSWORD = os.path.join(WORK.name, "password")
PARTS = ["nats-1", "nats-2", "nats-3", "postgres", "relay-1", "relay-2", "relay-3"]


def script(name, where, zephyld=f"{BIN}/zephyld", ok=True):
    done = subprocess.run([f"{SOURCE}/packaging/cluster/{name}", where], env={**os.environ, "ZEPHYLD": zephyld},
                          stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, timeout=150)
    assert (done.returncode == 0) == ok, (name, done)
    return done.stdout if ok else done.stderr


def pids():
    """Of those that run."""
    found = {}
    for part in PARTS:
        try:
            pid, born = open(f"{DIR}/{part}/pid").read().split()
            fields = open(f"/proc/{pid}/stat").read().rsplit(") ", 1)[1].split()
            if fields[0] not in "ZX" and fields[19] == born:
                found[part] = int(pid)
        except FileNotFoundError:
            pass
    return found


def zephyld(*words):
    return subprocess.run([f"{BIN}/zephyld", *words], check=True, capture_output=True, text=True, timeout=60).stdout


def main():
    ready = script("up", DIR).splitlines()
    assert len(ready) == 3 and len({line.split()[2] for line in ready}) == 3, ready
    assert all(line.startswith("zephyld ready 127.0.0.1:") for line in ready), ready
    assert len({line.split()[3] for line in ready}) == 1, "they share one key"
    addresses, key = [line.split()[2] for line in ready], ready[0].split()[3]
    first = pids()
    assert sorted(first) == PARTS, first
    assert script("up", DIR).splitlines() == ready and pids() == first, "what runs is left alone"

    with open(PASSWORD, "w", opener=lambda path, flags: os.open(path, flags, 0o600)) as file:
        file.write("quite secret\n")
    zephyld("user", "add", "--data", f"{DIR}/relay-1/data", "--password-file", PASSWORD, "ann")
    cluster = json.loads(zephyld("status", "--json", "--data", f"{DIR}/relay-3/data"))["cluster"]
    assert cluster["name"] == "relay-3" and sorted(cluster["others"]) == sorted(addresses[:2]), cluster
    said = zephyld("doctor", "--config", f"{DIR}/relay-2/zephyld.toml")
    assert said.count("answers, under the same key") == 3, said

    # Whoever is at a relay that is killed goes on at another.
    ann = subprocess.Popen([f"{BIN}/zephyl", "run", "--service", addresses[0], "--trust", key], stdin=subprocess.PIPE,
                           stdout=subprocess.PIPE, text=True)

    def tell(**what):
        ann.stdin.write(json.dumps(what) + "\n")
        ann.stdin.flush()

    def hear(wanted):
        for line in ann.stdout:
            one = json.loads(line)
            if wanted(one):
                return one
        raise AssertionError("the client has ended")

    tell(do="login", handle="ann", password="quite secret")
    assert hear(lambda one: one.get("reply") == "login")["ok"]
    os.kill(first["relay-1"], signal.SIGKILL)
    os.kill(first["nats-2"], signal.SIGKILL)
    hear(lambda one: one.get("event") == "link" and one.get("state") == "cut")
    hear(lambda one: one.get("event") == "link" and one.get("state") == "resumed")
    tell(do="stats")
    assert hear(lambda one: "outbox" in one)["relay"] in addresses[1:]
    tell(do="quit")
    assert ann.wait(timeout=30) == 0

    assert script("up", DIR).splitlines() == ready
    again = pids()
    assert sorted(again) == PARTS and {part for part in PARTS if again[part] != first[part]} == {"relay-1", "nats-2"}
    assert [line.split()[0] for line in zephyld("user", "list", "--data", f"{DIR}/relay-1/data").splitlines()] == ["ann"]
    script("down", DIR)
    assert not [part for part, pid in again.items() if alive(pid)]

    # What cannot be brought up leaves nothing behind.
    assert "relay-1 does not start" in script("up", DIR, zephyld="/bin/false", ok=False)
    assert pids() == {}
    assert "holds something else" in script("up", SOURCE, ok=False)


def alive(pid):
    try:
        return open(f"/proc/{pid}/stat").read().rsplit(") ", 1)[1].split()[0] not in "ZX"
    except FileNotFoundError:
        return False


try:
    main()
finally:
    if os.path.exists(f"{DIR}/ports"):
        script("down", DIR)
