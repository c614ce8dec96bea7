"""Runs in the guest: goes through the groups of checks and writes one result line for each check."""

import importlib
import json
import os
import sys
import traceback

from bench import Bench

GROUPS = ["machine", "scan", "sends", "volumes", "files", "product", "protocols", "reading", "medium", "ata", "sleep", "rights", "answer",
          "raid", "capture"]
# Run only when named: they take longer than all others together, or are no checks of what is right.
LONG_GROUPS = ["repair", "pull", "hardship", "speed"]


def main():
    with open("/run/bench/settings.json", encoding="utf-8") as file:
        settings = json.load(file)
    wanted = [name for name in settings["only"].split(",") if name]
    bench = Bench(settings)
    for group in GROUPS + LONG_GROUPS:
        if group not in (wanted or GROUPS):
            continue
        try:
            importlib.import_module(f"checks_{group}").run(bench)
        except Exception as error:  # a broken group must not hide the others
            traceback.print_exc()
            bench.report(f"{group}: the checks themselves", "FAIL", repr(error))
    with open("/run/bench/finished", "w", encoding="utf-8"):
        pass
    os.sync()


sys.exit(main())
