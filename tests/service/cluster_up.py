#!/usr/bin/env -S python3 -B
"""A whole cluster on this machine, brought up, looked at, hurt, brought up again, and ended.
usage: cluster_up.py SOURCE BIN       BIN: the folder with zephyld and zephyl"""
import glob, json, os, pwd, re, shutil, signal, subprocess, sys, tempfile

from person import Person

SOURCE, BIN = sys.argv[1:3]
if not (shutil.which("nats-server") and glob.glob("/usr/lib/postgresql/*/bin/postgres")):
    print("neither nats-server nor PostgreSQL here")
    sys.exit(77)
WORK = tempfile.TemporaryDirectory(prefix="cluster-")
os.chmod(WORK.name, 0o711)
DIR = os.path.join(WORK.name, "it")
PASSWORD = os.path.join(WORK.name, "password")
PARTS = ["nats-1", "nats-2", "nats-3", "postgres", "relay-1", "relay-2", "relay-3"]


def script(name, where, *parts, zephyld=f"{BIN}/zephyld", ok=True, **more):
    done = subprocess.run([f"{SOURCE}/packaging/cluster/{name}", where, *parts],
                          env={**os.environ, "ZEPHYLD": zephyld, **more}, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          text=True, timeout=150)
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


def ann_at(address, key):
    return Person(f"{BIN}/zephyl", address, key, "ann", "quite secret", WORK.name)


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
    said = when_well(f"{DIR}/relay-2/zephyld.toml")
    assert said.count("answers, under the same key") == 3, said
    assert said.count("answers, by TLS, and takes user and password") == 3, said
    assert "ZEPHYL_LOG, copies of each entry: 3, all of them in step" in said and "BAD" not in said, said

    # What was made with other bounds gets those that the configuration says now, while relays run.
    other = os.path.join(WORK.name, "other.toml")
    with open(f"{DIR}/relay-2/zephyld.toml") as own, open(other, "w") as file:
        file.write(re.sub("log_mebibytes = .*", "log_mebibytes = 600", own.read()))
    first_time, again = zephyld("adjust", "--config", other), zephyld("adjust", "--config", other)
    assert first_time == "ZEPHYL_LOG: 600 MiB instead of 512 MiB\n", first_time
    assert again == "all is as the configuration says\n", again
    said = when_well(other)
    assert "MiB of 600 MiB" in said, said

    # Whoever is at a relay that is killed goes on at another.
    ann = ann_at(addresses[0], key)
    ann.ask(do="create", code="Drill01")
    os.kill(first["relay-1"], signal.SIGKILL)
    os.kill(first["nats-2"], signal.SIGKILL)
    ann.hear(lambda one: one.get("event") == "link" and one.get("state") == "cut")
    ann.hear(lambda one: one.get("event") == "link" and one.get("state") == "resumed")
    ann.tell(do="stats")
    stats = ann.hear(lambda one: "outbox" in one)
    assert stats["relay"] in addresses[1:], (stats, addresses)
    while True:  # who took over may have noticed before this one
        status = json.loads(zephyld("status", "--json", "--data", f"{DIR}/relay-3/data"))
        states = [one["state"] for one in status["cluster"]["relays"] if one["name"] == "relay-1"]
        if states == ["gone"] and status["cluster"]["log"]["copies_behind"] == 1:
            break
    assert [(one["code"], one["attendees"][0]["handle"]) for one in status["meetings"]] == [("drill01", "ann")], status
    failed = subprocess.run([f"{BIN}/zephyld", "doctor", "--config", f"{DIR}/relay-3/zephyld.toml"],
                            capture_output=True, text=True, timeout=60).stdout
    assert failed.count("meetings go on without it") == 1 and "relay-1 is gone" in failed, failed

    assert script("up", DIR).splitlines() == ready
    again = pids()
    assert sorted(again) == PARTS, again
    assert {part for part in PARTS if again[part] != first[part]} == {"relay-1", "nats-2"}, (first, again)
    assert [line.split()[0] for line in zephyld("user", "list", "--data", f"{DIR}/relay-1/data").splitlines()] == ["ann"]
    lose_the_disks(addresses, key, ann)
    script("down", DIR)
    assert not [part for part, pid in again.items() if alive(pid)]

    # What cannot be brought up leaves nothing behind.
    assert "relay-1 does not start" in script("up", DIR, zephyld="/bin/false", ok=False)
    assert pids() == {}
    assert "holds something else" in script("up", SOURCE, ok=False)


def draw_alike():
    """Two clusters whose dice fall alike, most of whose servers are not there yet."""
    dice, folders = os.path.join(WORK.name, "dice"), [os.path.join(WORK.name, name) for name in ("one", "two")]
    with open(dice, "w") as file:
        file.write("RANDOM=7\n")
    try:
        for folder in folders:
            script("up", folder, "nats-1", BASH_ENV=dice)
        drawn = [line.split("=")[1] for folder in folders for line in open(f"{folder}/ports")]
        assert len(set(drawn)) == len(drawn) == 20, drawn
    finally:
        for folder in folders:
            if os.path.exists(f"{folder}/ports"):
                script("down", folder)


def of_the_service(config):
    """As a package has it: folder and passwords are a service user's, and the superuser is who asks."""
    if os.geteuid() != 0:
        return config
    text, other = open(config).read(), pwd.getpwnam("nobody")
    for i, path in enumerate(dict.fromkeys(re.findall(r'_(?:password_file|authorities) = "([^"]+)"', text))):
        copy = shutil.copy(path, os.path.join(WORK.name, f"its-{i}"))
        os.chown(copy, other.pw_uid, other.pw_gid)
        text = text.replace(f'"{path}"', f'"{copy}"')
    data = os.path.join(WORK.name, "its-data")
    os.mkdir(data, 0o700)
    os.chown(data, other.pw_uid, other.pw_gid)
    own = os.path.join(WORK.name, "its.toml")
    with open(own, "w") as file:
        file.write(re.sub("(?m)^data = .*", f'data = "{data}"', text))
    return own


def when_well(config):
    """What doctor says once it finds nothing wrong. Servers that have just been started choose who leads, and get in step,
    for longer than somebody who joins waits."""
    while True:
        said = subprocess.run([f"{BIN}/zephyld", "doctor", "--config", config], capture_output=True, text=True, timeout=60)
        if said.returncode == 0:
            return said.stdout


def lose_the_disks(addresses, key, ann):
    """All meetings' servers lose what they have, and it comes back from a backup of one relay."""
    backup, config = os.path.join(WORK.name, "backup.tar"), of_the_service(f"{DIR}/relay-2/zephyld.toml")

    def restore():
        return subprocess.run([f"{BIN}/zephyld", "restore", "--meetings", "--config", config, backup],
                              capture_output=True, text=True, timeout=120)

    assert "the meetings of all relays" in zephyld("backup", "--data", f"{DIR}/relay-2/data", backup)
    assert "a relay is connected" in restore().stderr
    assert zephyld("user", "list", "--config", config).startswith("ann")
    ann.end()
    script("down", DIR)
    for i in 1, 2, 3:
        shutil.rmtree(f"{DIR}/nats-{i}/data")
    servers = [subprocess.Popen(["nats-server", "--config", f"{DIR}/nats-{i}/nats.conf", "--log", f"{DIR}/nats-{i}/log"])
               for i in (1, 2, 3)]
    try:
        done = restore()
        assert done.returncode == 0 and "meetings put back" in done.stdout, done
        assert "have meetings" in restore().stderr
    finally:
        for server in servers:
            server.terminate()
            server.wait()
    script("up", DIR)
    when_well(f"{DIR}/relay-3/zephyld.toml")
    ann = ann_at(addresses[2], key)
    ann.ask(do="join", code="Drill01")
    ann.end()


def alive(pid):
    try:
        return open(f"/proc/{pid}/stat").read().rsplit(") ", 1)[1].split()[0] not in "ZX"
    except FileNotFoundError:
        return False


try:
    draw_alike()
    main()
finally:
    if os.path.exists(f"{DIR}/ports"):
        script("down", DIR)
