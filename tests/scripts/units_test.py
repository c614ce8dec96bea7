#!/usr/bin/env python3
"""The units of docs/examples/systemd: systemd takes them, the services are as closed as they can be, and the program does
with their capabilities what they start it for. Ends with 77, "skipped", where systemd is not installed.
usage: units_test.py FOLDER_OF_THE_PROGRAM"""
import os
import re
import shutil
import subprocess
import sys
import tempfile

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
UNITS = os.path.join(TOP, "docs/examples/systemd")
# Root, raw access to disks and CAP_SYS_ADMIN, without which no NVMe command is sent, are most of what is left.
MOST_EXPOSURE = "2.0"
DRIVES = "--virtual=" + os.path.join(TOP, "tests/host/two_drives.json")
FAULTS = []


def run(*command, **options):
    return subprocess.run(command, capture_output=True, text=True, check=False, timeout=120, **options)


def check(good, what):
    if not good:
        FAULTS.append(what)
        print("wrong: " + what)


def started(program, unit, folder):
    """What the unit starts, with its capabilities, on two drives of a virtual PC."""
    command = re.search(r"^ExecStart=\S+ (.*)$", unit, re.M)[1].split()
    command = [os.path.join(folder, "ostria.prom") if word.startswith("/var/lib/") else word for word in command]
    kept = re.search(r"^CapabilityBoundingSet=(.*)$", unit, re.M)[1].lower().replace("cap_", "+").split()
    limits = ["setpriv", "--no-new-privs", "--bounding-set=-all," + ",".join(kept)] if os.geteuid() == 0 else []
    environment = dict(os.environ, OSTRIA_RESULTS=os.path.join(folder, "results.sqlite"))
    done = run(*limits, program, DRIVES, *command, env=environment, umask=0o077)
    fine = re.search(r"^SuccessExitStatus=(.*)$", unit, re.M)[1].split()
    check(str(done.returncode) in fine, "%s ended with %s: %s" % (command, done.returncode, done.stderr))


def main():
    if shutil.which("systemd-analyze") is None:
        print("systemd is not installed")
        return 77
    program = os.path.join(sys.argv[1], "OstriaDiagnosticsCLI")
    with tempfile.TemporaryDirectory() as folder:
        names = sorted(os.listdir(UNITS))
        for name in names:
            with open(os.path.join(UNITS, name), encoding="utf-8") as file:
                unit = file.read()
            # The program need not be installed here.
            with open(os.path.join(folder, name), "w", encoding="utf-8") as file:
                file.write(unit.replace("/usr/bin/OstriaDiagnosticsCLI", os.path.abspath(program)))
            if name.endswith(".service"):
                started(program, unit, folder)
        check(os.path.getsize(os.path.join(folder, "ostria.prom")) > 1000, "no numbers")
        history = run(program, DRIVES, "--history", env=dict(os.environ, OSTRIA_RESULTS=folder + "/results.sqlite"))
        check("SMALL-BAD-1" in history.stdout, "no results: " + history.stdout + history.stderr)
        paths = [os.path.join(folder, name) for name in names]
        verified = run("systemd-analyze", "verify", "--man=no", *paths)
        check(verified.returncode == 0 and not verified.stderr, "verify: " + verified.stderr)
        for path in paths:
            if path.endswith(".service"):
                judged = run("systemd-analyze", "security", "--offline=true", "--no-pager",
                             "--threshold=%d" % (float(MOST_EXPOSURE) * 10), path)
                check(judged.returncode == 0, "security: " + judged.stdout + judged.stderr)
    print("%d units, %d faults" % (len(names), len(FAULTS)))
    return 1 if FAULTS else 0


sys.exit(main())
