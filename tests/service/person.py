"""Somebody at a service, by the command line."""
import json, os, subprocess


class Person:
    """Logged in; a script takes part."""

    def __init__(self, program, address, key, handle, password, home):
        self.runs = subprocess.Popen([program, "run", "--service", address, "--trust", key], stdin=subprocess.PIPE,
                                     stdout=subprocess.PIPE, text=True, env={**os.environ, "HOME": home})
        self.ask(do="login", handle=handle, password=password)

    def tell(self, **what):
        self.runs.stdin.write(json.dumps(what) + "\n")
        self.runs.stdin.flush()

    def hear(self, wanted):
        for line in self.runs.stdout:
            one = json.loads(line)
            if wanted(one):
                return one
        raise AssertionError("the client has ended")

    def ask(self, do, **what):
        self.tell(do=do, **what)
        answer = self.hear(lambda one: one.get("reply") == do)
        assert answer["ok"], answer

    def end(self):
        self.runs.stdin.close()
        self.runs.wait(timeout=30)
