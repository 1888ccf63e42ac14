#!/usr/bin/python3
"""Times what ActionBenchmark times, through the Python accessibility stack.

usage: actionsPyatspi.py ROUNDS   (with gtk3-widget-factory running)
"""
import statistics
import sys
import time

import pyatspi


def find(accessible, is_wanted):
    if is_wanted(accessible):
        return accessible
    for child in accessible:
        found = child is not None and find(child, is_wanted)
        if found:
            return found
    return None


def measure(name, rounds, value, action):
    times = []
    for round_number in range(rounds):
        before = value()
        start = time.monotonic()
        action(round_number)
        while value() == before and time.monotonic() - start < 5:
            pass
        times.append((time.monotonic() - start) * 1000)
    print(f"{name:<10} {'pyatspi':<16} {statistics.median(times):8.1f} {0:6.0f}")


rounds = int(sys.argv[1]) if len(sys.argv) > 1 else 11
application = next(a for a in pyatspi.Registry.getDesktop(0) if a and a.name == "gtk3-widget-factory")
sensitive = lambda a: a.getState().contains(pyatspi.STATE_SENSITIVE) and a.getState().contains(pyatspi.STATE_SHOWING)
box = find(application, lambda a: a.getRole() == pyatspi.ROLE_CHECK_BOX and sensitive(a)
           and not a.getState().contains(pyatspi.STATE_INDETERMINATE))
entry = find(application, lambda a: a.getRole() == pyatspi.ROLE_TEXT and sensitive(a)
             and a.getState().contains(pyatspi.STATE_EDITABLE))
text = entry.queryText()
measure("click", rounds, lambda: (box.clearCache(), box.getState().contains(pyatspi.STATE_CHECKED))[1],
        lambda _: box.queryAction().doAction(0))
measure("set_value", rounds, lambda: text.getText(0, -1),
        lambda number: entry.queryEditableText().setTextContents(f"value {number} {time.time()}"))
entry.queryEditableText().setTextContents("alpha beta")
measure("select", rounds, lambda: tuple(text.getSelection(0)),
        lambda number: (text.removeSelection(0), text.addSelection(*((0, 5) if number % 2 else (6, 10)))))
slider = find(application, lambda a: a.getRole() == pyatspi.ROLE_SLIDER and sensitive(a)).queryValue()
measure("drag", rounds, lambda: slider.currentValue,
        lambda number: setattr(slider, "currentValue", 30 if number % 2 else 70))
