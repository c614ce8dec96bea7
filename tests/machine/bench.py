"""What the checks share: running programs, reporting, and finding the bench's own drives."""

import json
import os
import subprocess
import time
from pathlib import Path


class Drive:
    """A drive that the bench made. `node` is its device node."""

    def __init__(self, entry, serial, marker):
        self.node = "/dev/" + entry["name"]
        self.name = entry["name"]
        self.serial = serial
        self.bytes = entry["size"]
        self.marker = marker
        major, minor = (int(part) for part in entry["maj:min"].split(":"))
        self.number = minor & 0xFF | major << 8 | (minor & ~0xFF) << 12


class Bench:
    def __init__(self, settings):
        self.settings = settings
        self.bin = settings["bin"]
        self._results = open("/run/bench/results.jsonl", "a", encoding="utf-8")

    def report(self, name, outcome, detail=""):
        self._results.write(json.dumps({"name": name, "outcome": outcome, "detail": detail}) + "\n")
        self._results.flush()

    def check(self, name, condition, detail=""):
        self.report(name, "ok" if condition else "FAIL", "" if condition else str(detail))
        return condition

    def equal(self, name, got, wanted):
        return self.check(name, got == wanted, f"got {got!r}, wanted {wanted!r}")

    def skip(self, name, reason):
        self.report(name, "skip", reason)

    def run(self, *command, timeout=60):
        """Exit code and standard output; standard error goes to the log of the guest."""
        started = time.monotonic()
        done = subprocess.run(command, stdout=subprocess.PIPE, text=True, timeout=timeout, check=False, errors="replace")
        print("$", *command, "->", done.returncode, f"({time.monotonic() - started:.1f} s)", flush=True)
        return done.returncode, done.stdout

    def json(self, *command, timeout=60):
        _, text = self.run(*command, timeout=timeout)
        try:
            return json.loads(text)
        except ValueError:
            print(text, flush=True)
            return {}

    def json_as(self, user, *command):
        """Exit code and JSON document of a command run by somebody else."""
        code, text = self.run("setpriv", f"--reuid={user}", "--regid=nogroup", "--clear-groups", *command)
        try:
            return code, json.loads(text)
        except ValueError:
            print(text, flush=True)
            return code, {}

    def probe(self, *command, timeout=60):
        answer = self.json(self.bin + "/machine_probe", *command, timeout=timeout)
        print(answer, flush=True)
        return answer

    def product(self, *arguments, timeout=120):
        """Exit code and JSON document of the command-line host."""
        command = (self.bin + "/OstriaDiagnosticsCLI", "-Mstorage", *arguments, "--json")
        code, text = self.run(*command, timeout=timeout)
        try:
            return code, json.loads(text)
        except ValueError:
            print(text, flush=True)
            return code, {}

    def listed(self, drive, listing=None):
        """The host's entry of a drive, from a listing or a new one."""
        if listing is None:
            _, listing = self.product("--list")
        return next((device for device in listing.get("devices", []) if device["id"] == str(drive.number)), None)

    def index_of(self, drive, listing=None):
        """The host's number of a drive."""
        device = self.listed(drive, listing)
        return device and str(device["index"])

    def own_name_of(self, drive):
        """What no other drive has in its place: without a question only that lets a drive be changed."""
        _, listing = self.product("--list")
        device = self.listed(drive, listing)
        alike = [other for other in listing["devices"] if device and other["serial"] == device["serial"]]
        names = device and [device["serial"] if len(alike) == 1 else "", device["wwn"], *device["by_id"], device["device_node"]]
        return names and next(name for name in names if name)

    def smartctl(self, drive, *options):
        return self.json("smartctl", "-j", *(options or ("-i",)), drive.node)

    def drive(self, marker):
        """The bench's drive whose model or serial number holds the marker, or None. Nothing else is ever handed out, so
        a check that writes cannot reach a drive that the bench did not make."""
        if not marker.startswith(("OSTRIABENCH", "OB", "0xdeadbeef", "scsi_debug")):
            raise ValueError(f"{marker} is no marker of the bench")
        listing = self.json("lsblk", "-J", "-b", "-d", "-o", "NAME,MODEL,SERIAL,SIZE,TYPE,MAJ:MIN")
        for entry in listing.get("blockdevices", []):
            serial = entry.get("serial") or self._serial_page(entry["name"])
            if marker in (entry.get("model") or "") or marker in serial:
                return Drive(entry, serial, marker)
        return None

    def needed(self, marker, group):
        drive = self.drive(marker)
        if drive is None:
            self.report(f"{group}: drive {marker} is there", "FAIL", "the kernel shows no such drive")
        return drive

    @staticmethod
    def _serial_page(name):
        device = Path("/sys/block") / name / "device"
        plain = Path("/sys/block") / name / "serial"
        if plain.exists():
            return plain.read_text(encoding="ascii").strip()
        try:
            page = (device / "vpd_pg80").read_bytes()
            return page[4:4 + page[3]].decode("ascii", "replace").strip()
        except OSError:
            pass
        for folder in Path(os.path.realpath(device)).parents:
            if (folder / "serial").exists() and (folder / "idVendor").exists():
                return (folder / "serial").read_text(encoding="ascii").strip()
        return ""

    def modprobe(self, module, *options):
        code, _ = self.run("modprobe", module, *options)
        return code == 0
