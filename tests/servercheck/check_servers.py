#!/usr/bin/env python3
"""Examines real servers with --check-server: the one in the box and the examples, which keep the
contract, and a server that breaks one clause.

Usage: check_servers.py CHECKER SERVER EXPECTATION
CHECKER is a command that takes a server and --json. EXPECTATION is "keeps" (every clause held),
"keeps-least" (what may be left out is not offered), or "breaks:NAME:CLAUSE:LEVEL:SEEN": the server is
told to break NAME; then CLAUSE alone has failed, and SEEN is part of what was seen.
"""
import json
import os
import shlex
import subprocess
import sys
import tempfile

OPTIONAL = ["modes", "libraries", "totals", "link-status", "link-start"]


def main():
    checker, server, expectation = sys.argv[1:]
    what, *more = expectation.split(":", 4)
    with tempfile.TemporaryDirectory() as folder:
        # No display, and so no toolkit; and a folder of its own that has to be empty again.
        environment = {name: value for name, value in os.environ.items()
                       if name not in ("DISPLAY", "WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS")}
        environment.update(TMPDIR=folder, BREAKS=more[0] if more else "")
        run = subprocess.run([*shlex.split(checker), server, "--json"], env=environment,
                             stdout=subprocess.PIPE)
        left = os.listdir(folder)
    report = json.loads(run.stdout)
    shown = json.dumps(report, indent=1)
    outcomes = {}
    for clause in report["clauses"]:
        outcomes.setdefault(clause["outcome"], []).append(clause["id"])
    failed = outcomes.get("failed", [])

    assert left == [], f"left behind: {left}"
    assert report["passed"] == (run.returncode == 0), shown
    if what == "keeps":
        assert list(outcomes) == ["held"] and report["passed"], shown
    elif what == "keeps-least":
        optional = outcomes.get("not offered", [])
        assert [one for one in optional if one not in OPTIONAL] == more[1:2], shown
        assert more[1:] or [one for one in optional if one in OPTIONAL] == OPTIONAL, shown
        assert failed == [] and "not reached" not in outcomes and report["passed"], shown
    else:
        _, clause, level, seen = more
        assert failed == [clause], shown
        found = next(one for one in report["clauses"] if one["id"] == clause)
        assert found["level"] == level and seen in found["seen"], shown
        assert report["passed"] == (level == "should"), shown


if __name__ == "__main__":
    main()
