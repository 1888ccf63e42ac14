#!/usr/bin/python3
"""Reads the whole tree of a running application through pyatspi and prints
"pyatspi nodes medianMilliseconds".

usage: readTreePyatspi.py PID ROUNDS
"""
import sys
import time

import pyatspi


def attempt(question):
    try:
        return question()
    except NotImplementedError:
        return None


def read(node, gate, is_root):
    if not is_root and not node.getState().contains(gate):
        return 0
    node.name, node.description, node.getRole()
    attempt(lambda: node.queryComponent().getExtents(pyatspi.DESKTOP_COORDS))
    action = attempt(node.queryAction)
    if action:
        [action.getName(i) for i in range(action.nActions)]
    text = attempt(node.queryText)
    if text:
        text.getText(0, text.characterCount)
    attempt(lambda: node.queryValue().currentValue)
    return 1 + sum(read(child, gate, False) for child in node if child)


pid, rounds = int(sys.argv[1]), int(sys.argv[2])
application = [a for a in pyatspi.Registry.getDesktop(0) if a and a.get_process_id() == pid][0]
gate = pyatspi.STATE_VISIBLE if application.get_toolkit_name() == "GTK" else pyatspi.STATE_SHOWING
times = []
for _ in range(rounds):
    start = time.monotonic()
    nodes = read(application, gate, True)
    times.append((time.monotonic() - start) * 1000)
print("pyatspi %d %.2f" % (nodes, sorted(times)[len(times) // 2]))
