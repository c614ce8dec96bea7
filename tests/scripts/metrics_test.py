#!/usr/bin/env python3
"""--metrics from the drive to the alert: what the text says of drives of a virtual PC, promtool's
opinion of it, and a real Prometheus on the loopback that scrapes it in both formats and fires the
rules of docs/examples. Ends with 77, "skipped", where prometheus is not installed.
usage: metrics_test.py FOLDER_OF_THE_PROGRAM"""
import http.server
import json
import os
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request

TOP = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
RULES = os.path.join(TOP, "docs/examples/ostria-storage.rules.yml")
MACHINE = {"format": 1, "drives": [
    {"kind": "sata", "model": "DYING", "serial": "SERIAL-0", "size_sectors": 40960, "rotation_rate": 7200,
     "smart": {"failing": True, "attributes": [
         {"id": 5, "value": 8, "threshold": 10, "raw": 900}, {"id": 9, "value": 98, "raw": 10},
         {"id": 194, "value": 60, "raw": 522125343}, {"id": 197, "value": 100, "raw": 0}]}},
    {"kind": "nvme", "model": "FLASH", "serial": "SERIAL-1", "size_sectors": 40960, "temperature": 27,
     "nvme": {"pass_through": "storage_query",
              "health": {"percentage_used": 3, "media_errors": 2, "data_units_written": 5,
                         "power_on_hours": 2}}},
    {"kind": "sata", "model": 'A "B" C:\\D', "serial": "SERIAL-2", "size_sectors": 40960,
     "rotation_rate": 7200, "power": "standby"},
    {"kind": "usb_stick", "model": "TWIN", "serial": "", "size_sectors": 40960},
    {"kind": "usb_stick", "model": "TWIN", "serial": "", "size_sectors": 40960}]}
DYING = 'model="DYING",serial="SERIAL-0",bus="ATA"'
FLASH = 'model="FLASH",serial="SERIAL-1",bus="NVMe"'
SLEEPER = 'model="A \\"B\\" C:\\\\D",serial="SERIAL-2",bus="ATA"'
PRESENT = [
    'verdict{%s,verdict="replace"} 1' % DYING, 'verdict{%s,verdict="good"} 0' % DYING,
    'verdict{%s,verdict="watch"} 1' % FLASH, 'verdict{%s,verdict="not_known"} 1' % SLEEPER,
    'temperature_celsius{%s} 31' % DYING, 'temperature_celsius{%s} 27' % FLASH,
    'life_left_ratio{%s} 0.97' % FLASH, 'media_errors{%s} 2' % FLASH,
    'reallocated_sectors{%s} 900' % DYING, 'pending_sectors{%s} 0' % DYING,
    'power_on_seconds{%s} 36000' % DYING, 'power_on_seconds{%s} 7200' % FLASH,
    'written_bytes{%s} 2560000' % FLASH, 'asleep{%s} 1' % SLEEPER,
    'test_last_exit_code{%s,test="quick/smart-status"} 1' % DYING,
    'test_last_exit_code{%s,test="quick/smart-wearout"} 0' % FLASH]
# What these drives do not have, or were not asked for, is no 0.
ABSENT = ['life_left_ratio{%s' % DYING, 'written_bytes{%s' % DYING, 'media_errors{%s' % DYING,
          'pending_sectors{%s' % SLEEPER, 'pending_sectors{%s' % FLASH, 'asleep{model="TWIN"']
FORMATS = {"text": "text/plain; version=0.0.4", "open": "application/openmetrics-text; version=1.0.0"}
FAULTS = []


def check(good, what):
    if not good:
        FAULTS.append(what)
        print("wrong: " + what)


def run(arguments, **options):
    return subprocess.run(arguments, capture_output=True, text=True, check=False, timeout=60, **options)


class Program:
    def __init__(self, program, folder):
        self.program, self.folder = program, folder
        self.file = os.path.join(folder, "ostria.prom")
        self.machine = os.path.join(folder, "machine.json")
        with open(self.machine, "w", encoding="utf-8") as file:
            json.dump(MACHINE, file)

    def run(self, *arguments):
        environment = dict(os.environ, OSTRIA_RESULTS=os.path.join(self.folder, "results.sqlite"))
        return run([self.program, "--virtual=" + self.machine, *arguments], env=environment, umask=0o077)

    def metrics(self, *arguments):
        done = self.run(*arguments, "--metrics", self.file)
        with open(self.file, encoding="utf-8") as file:
            text = file.read()
        series = [line.rsplit(" ", 1)[0] for line in text.splitlines() if line[0] != "#"]
        check(len(series) == len(set(series)), "a series is there twice")
        opinion = run(["promtool", "check", "metrics"], input=text)
        check(opinion.returncode == 0, "promtool: " + opinion.stdout + opinion.stderr)
        return done, text


def look_at_text(program):
    program.run("-Mstorage", "-Qm,o", "--record")
    done, text = program.metrics()
    check(done.returncode == 1, "the verdict is the exit code: %d" % done.returncode)
    check("DYING" in done.stdout, "the list is printed, too")
    check(os.stat(program.file).st_mode & 0o777 == 0o644, "the collector cannot read the file")
    check(os.listdir(program.folder).count("ostria.prom") == 1 and
          not [n for n in os.listdir(program.folder) if n.endswith(".partial")], "a part of a file stays")
    for row in PRESENT:
        check("\nostria_storage_" + row + "\n" in text, row + " is missing")
    for row in ABSENT:
        check("ostria_storage_" + row not in text, row + " was never read")
    check(time.time() - float(text.split()[-3]) < 60, "collected when?")
    _, masked = program.metrics("--redact")
    check("SERIAL-" not in masked, "--redact leaves a serial number")
    check('test_last_exit_code{model="DYING",serial="[masked]"' in masked, "masked drives lose their tests")
    done = program.run("--history", "--metrics", program.file)
    check(done.returncode == 2 and "--metrics needs the list" in done.stderr, str(done))
    return text


def fire(folder, text, count):
    """At least that many alerts of a Prometheus that scrapes the text in both formats: (format, alert, serial)."""
    class Handler(http.server.BaseHTTPRequestHandler):
        def do_GET(self):
            self.send_response(200)
            self.send_header("Content-Type", FORMATS[self.path[1:]])
            self.end_headers()
            self.wfile.write(text.encode())

        def log_message(self, *_):
            pass

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    with socket.socket() as free:
        free.bind(("127.0.0.1", 0))
        port = free.getsockname()[1]
    jobs = [{"job_name": name, "metrics_path": "/" + name,
             "static_configs": [{"targets": ["127.0.0.1:%d" % server.server_port]}]} for name in FORMATS]
    config = os.path.join(folder, "prometheus.yml")
    with open(config, "w", encoding="utf-8") as file:  # JSON is YAML
        json.dump({"global": {"scrape_interval": "1s", "evaluation_interval": "1s"},
                   "rule_files": [RULES], "scrape_configs": jobs}, file)
    base = "http://127.0.0.1:%d/api/v1/" % port
    with open(os.path.join(folder, "log"), "w", encoding="utf-8") as log, subprocess.Popen(
            ["prometheus", "--config.file=" + config, "--storage.tsdb.path=" + folder + "/data",
             "--web.listen-address=127.0.0.1:%d" % port], stdout=log, stderr=log) as prometheus:
        try:
            fired, end = set(), time.monotonic() + 30
            while time.monotonic() < end and len(fired) < count:
                time.sleep(0.5)
                try:
                    with urllib.request.urlopen(base + "alerts", timeout=5) as answer:
                        alerts = json.load(answer)["data"]["alerts"]
                except OSError:
                    continue
                fired = {(alert["labels"]["job"], alert["labels"]["alertname"], alert["labels"]["serial"])
                         for alert in alerts if alert["state"] == "firing"}
            return fired
        finally:
            prometheus.terminate()
            server.shutdown()


def main():
    if shutil.which("prometheus") is None or shutil.which("promtool") is None:
        print("prometheus is not installed")
        return 77
    with tempfile.TemporaryDirectory() as folder:
        program = Program(os.path.join(sys.argv[1], "OstriaDiagnosticsCLI"), folder)
        text = look_at_text(program)
        for arguments in (["check", "rules", RULES],
                          ["test", "rules", os.path.join(TOP, "tests/scripts/metrics_rules_test.yml")]):
            done = run(["promtool", *arguments])
            check(done.returncode == 0, "promtool: " + done.stdout + done.stderr)
        wanted = {(name, alert, serial) for name in FORMATS for alert, serial in (
            ("OstriaStorageReplaceDrive", "SERIAL-0"), ("OstriaStorageTestFailed", "SERIAL-0"),
            ("OstriaStorageWatchDrive", "SERIAL-1"))}
        fired = fire(folder, text, len(wanted))
        check(fired == wanted, "alerts: %s" % sorted(fired))
    # Every series of a rule is one that the program writes.
    with open(RULES, encoding="utf-8") as file:
        for name in set(re.findall(r"ostria_storage_\w+", file.read())):
            check("\n# TYPE " + name + " gauge\n" in text, name + " is not written")
    print("%d faults" % len(FAULTS))
    return 1 if FAULTS else 0


if __name__ == "__main__":
    sys.exit(main())
