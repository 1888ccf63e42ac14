#!/usr/bin/python3
"""Measures the reading of whole accessibility trees, side by side on the same real
applications, and prints a Markdown table.

usage: scripts/with-desktop Benchmarks/ReadTree/readTrees.py build/release/bin [ROUNDS]
"""
import os
import subprocess
import sys
import tempfile
import time

programs = os.path.abspath(sys.argv[1])
rounds = sys.argv[2] if len(sys.argv) > 2 else "9"
here = os.path.dirname(os.path.abspath(__file__))
profile = tempfile.mkdtemp(prefix="tavik-benchmark-")
page = os.path.join(profile, "page.html")
with open(page, "w") as file:
    rows = "".join("<tr><td>Item %d<td>%d<td><button>Buy</button></tr>" % (i, i * 3) for i in range(20))
    file.write("<!doctype html><title>Shop</title><h1>Shop</h1><form><label>Name <input></label>"
               "<label><input type=checkbox>Gift</label></form><table>" + rows + "</table>")

applications = [
    ("GTK 3 widget factory", ["gtk3-widget-factory"]),
    ("mousepad (GTK 3)", ["mousepad"]),
    ("galculator (GTK 3)", ["galculator"]),
    ("GTK 4 widget factory", ["gtk4-widget-factory"]),
    ("gnome-text-editor (GTK 4)", ["gnome-text-editor", "--standalone"]),
    ("kcalc (Qt 5)", ["kcalc"]),
    ("featherpad (Qt 5)", ["featherpad", "--standalone"]),
    ("Designer (Qt 6)", ["/usr/lib/qt6/bin/designer"]),
    ("Chromium", ["chromium", "--no-sandbox", "--force-renderer-accessibility", "--disable-quic", "--no-first-run",
                  "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-gpu",
                  "--no-default-browser-check", "--password-store=basic", "--user-data-dir=" + profile,
                  "file://" + page]),
]
ways = ["backend", "hybrid", "streamed", "oneByOne", "libatspi", "pyatspi"]
titles = {"backend": "**this backend**", "hybrid": "floor: libdbus, list and stream", "streamed": "libdbus, streamed",
          "oneByOne": "libdbus, one by one", "libatspi": "libatspi, cached", "pyatspi": "pyatspi"}
commands = [[os.path.join(programs, "ReadTreeBenchmark")], [os.path.join(programs, "ReadTreeLibatspi")],
            ["/usr/bin/python3", os.path.join(here, "readTreePyatspi.py")]]


def measure(command, pid, count):
    try:
        output = subprocess.run(command + [str(pid), count], capture_output=True, text=True, timeout=180).stdout
    except subprocess.TimeoutExpired:
        return {}
    lines = [line.split() for line in output.splitlines()]
    return {line[0]: (int(line[1]), float(line[2])) for line in lines if len(line) == 3}


def wait_until_there(pid):
    last, since = 0, time.monotonic()
    while time.monotonic() - since < 40:
        nodes = measure(commands[0], pid, "1").get("backend", (0, 0))[0]
        if nodes > 5 and nodes == last:
            return
        last = nodes
        time.sleep(0.5)


print("| Application | nodes | " + " | ".join(titles[way] for way in ways) + " | to the floor |")
print("|---" * (len(ways) + 3) + "|")
for name, command in applications:
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        wait_until_there(process.pid)
        results = {}
        for tool in commands:
            results.update(measure(tool, process.pid, rounds))
        if "backend" not in results:
            print("| %s | could not be read |" % name)
            continue
        cells = ["%.1f" % results[way][1] if way in results else "fails" for way in ways]
        ratio = results["backend"][1] / min(results["hybrid"][1], results["streamed"][1])
        print("| %s | %d | %s | %.2f |" % (name, results["backend"][0], " | ".join(cells), ratio), flush=True)
    finally:
        process.kill()
        process.wait()
