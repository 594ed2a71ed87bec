#!/usr/bin/python3
"""A screen reader without a voice: what is on the accessibility bus, for scenarios.

One JSON command a line, one answer a line. Whoever waits here waits for events of the bus; the limit only ends
a run that has gone wrong.
  {"do": "look", "role": R, "name": N, "state": [S...], "not": [S...]}
      waits until the one control of that role and name has these states and not those; answers its text
  {"do": "act", "role": R, "name": N, "action": A}     does it
  {"do": "heard", "text": T}     waits until T has been announced, and forgets what came before it
  {"do": "nameless"}             what is shown and takes the focus, but has no name or no role
"""
import json
import sys

import pyatspi
from gi.repository import Atspi, GLib

LIMIT_SECONDS = 30
EVENTS = ("object:state-changed", "object:children-changed", "object:property-change", "object:text-changed",
          "object:selection-changed", "window")


class Reader:
    def __init__(self):
        self.announced = []
        self.context = GLib.MainContext.default()
        Atspi.set_timeout(LIMIT_SECONDS * 1000, LIMIT_SECONDS * 1000)  # by itself 0.8 s for an answer
        for event in EVENTS:
            pyatspi.Registry.registerEventListener(self.on_event, event)

    def on_event(self, event):
        if event.type.startswith("object:state-changed:showing") and event.detail1 == 1:
            try:
                if event.source.getRole() == pyatspi.ROLE_NOTIFICATION:
                    self.announced.append(event.source.name)
            except Exception:  # it has gone meanwhile
                pass

    def wait(self, found, what):
        """Waits for events until found() gives something."""
        late = []
        limit = GLib.timeout_add_seconds(LIMIT_SECONDS, lambda: late.append(True))
        try:
            while True:
                try:
                    result = found()
                except (GLib.GError, RuntimeError, LookupError):  # the tree has changed under us: its event comes
                    result = None
                if result:
                    return result
                if late:
                    raise LookupError(f"{what}; there is:\n" + "\n".join(self.lines()))
                self.context.iteration(True)
                while self.context.pending():
                    self.context.iteration(False)
        finally:
            if not late:
                GLib.source_remove(limit)

    def controls(self, node=None):
        """All of quorvia, from the top; what goes away meanwhile is left out."""
        if node is None:
            desktop = pyatspi.Registry.getDesktop(0)
            programs = [desktop.getChildAtIndex(i) for i in range(desktop.childCount)]
            for program in programs:
                if program and program.name == "quorvia":
                    yield from self.controls(program)
            return
        node.clearCache()
        yield node
        for i in range(node.childCount):
            child = node.getChildAtIndex(i)
            if child:
                yield from self.controls(child)

    def seen(self, node):
        states = [pyatspi.stateToString(state) for state in node.getState().getStates()]
        return {"role": node.getRoleName(), "name": node.name, "states": states}

    def lines(self):
        try:
            return [f"{one['role']} '{one['name']}' {one['states']}" for one in map(self.seen, self.controls())]
        except Exception as error:
            return [str(error)]

    def find(self, command):
        for node in self.controls():
            if node.getRoleName() != command["role"] or node.name != command["name"]:
                continue
            one = self.seen(node)
            if "showing" in one["states"]:
                return node, one
        return None, None

    def look(self, command):
        def found():
            node, one = self.find(command)
            states = one["states"] if node else []
            if not node or any(s not in states for s in command["state"]) or any(s in states for s in command["not"]):
                return None
            return {"text": text_of(node)}

        return self.wait(found, f"no such control: {command}")

    def act(self, command):
        def found():
            node, _ = self.find(command)
            return node if node and command["action"] in actions_of(node) else None

        node = self.wait(found, f"nothing that does so: {command}")
        node.queryAction().doAction(actions_of(node).index(command["action"]))
        return {}

    def heard(self, command):
        def found():
            if command["text"] not in self.announced:
                return None
            del self.announced[: self.announced.index(command["text"]) + 1]
            return {"heard": True}

        return self.wait(found, f"not heard: {command['text']}; heard was {self.announced}")

    def nameless(self, _):
        bad = []
        for node in self.controls():
            one = self.seen(node)
            if "showing" not in one["states"] or "focusable" not in one["states"]:
                continue
            if not one["name"].strip() or one["role"] in ("filler", "unknown", "invalid"):
                bad.append(f"{one['role']} '{one['name']}'")
        return {"nameless": bad}


def text_of(node):
    try:
        return node.queryText().getText(0, -1)
    except NotImplementedError:
        return ""


def actions_of(node):
    try:
        action = node.queryAction()
        return [action.getName(i) for i in range(action.nActions)]
    except NotImplementedError:
        return []


def main():
    reader = Reader()
    print(json.dumps({"ok": True}), flush=True)
    for line in sys.stdin:
        command = json.loads(line)
        try:
            answer = {"ok": True, **getattr(reader, command["do"])(command)}
        except Exception as error:
            answer = {"ok": False, "error": f"{type(error).__name__}: {error}"}
        print(json.dumps(answer), flush=True)


main()
