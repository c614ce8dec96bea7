#!/usr/bin/env python3
"""Validates the JSON documents of the program with the usual validator: every kind of document, of
runs on the virtual PC. Ends with 77, "skipped", where python3-jsonschema is not installed.
usage: schema_test.py FOLDER_OF_THE_PROGRAM"""
import json
import os
import subprocess
import sys
import tempfile

try:
    import jsonschema
except ImportError:
    print("python3-jsonschema is not installed")
    sys.exit(77)

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
DRIVES = "--virtual=" + os.path.join(TOP, "tests/host/report_machine.json")
SMALL = "--virtual=" + os.path.join(TOP, "tests/host/two_drives.json")
HEALTH = "--virtual=" + os.path.join(TOP, "tests/host/health_machine.json")
RUNS = [
    ("device_list", ["--virtual"]),
    ("device_details", ["--virtual", "--show"]),
    ("device_details", [HEALTH, "--show"]),
    ("test_run", [DRIVES, "-Q", "-E", "--assume=no", "--record"]),
    ("tool_run", [SMALL, "recover", "scan", "--record"]),
    ("tool_run", [SMALL, "recover", "repair", "1", "--assume=yes"]),
    ("tool_run", ["--virtual", "recover", "filesystem", "0", "--assume=yes"]),
    ("tool_run", ["--virtual", "recover", "filterDevices"]),
    ("tool_run", ["--virtual", "smart"]),
    ("history", ["--virtual", "--history"]),
    ("comparison", ["--virtual", "--compare"]),
    ("device_details", [DRIVES, "--show", "--redact"]),
    ("help", ["--virtual", "--help"]),
    ("version", ["--virtual", "--version"]),
    ("error", ["--virtual", "-Qz"]),
]


def main():
    with open(os.path.join(TOP, "docs/output.schema.json"), encoding="utf-8") as file:
        schema = json.load(file)
    cls = jsonschema.validators.validator_for(schema)
    cls.check_schema(schema)
    validator = cls(schema)
    wrong = 0
    with tempfile.TemporaryDirectory() as folder:
        environment = dict(os.environ, OSTRIA_RESULTS=os.path.join(folder, "results.sqlite"))
        for kind, arguments in RUNS:
            run = subprocess.run(
                [os.path.join(sys.argv[1], "OstriaDiagnosticsCLI"), "--json"] + arguments,
                env=environment, capture_output=True, check=False, timeout=250)
            document = json.loads(run.stdout)
            faults = [error.message for error in validator.iter_errors(document)]
            if document.get("kind") != kind:
                faults.append("kind is %r" % document.get("kind"))
            if "exit_code" in document and document["exit_code"] != run.returncode:
                faults.append("exit_code is not %d" % run.returncode)
            for fault in faults[:5]:
                print("%s: %s" % (" ".join(arguments), fault))
            wrong += bool(faults)
    print("%d documents, %d wrong" % (len(RUNS), wrong))
    return 1 if wrong else 0


sys.exit(main())
