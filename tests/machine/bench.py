"""What the checks share: running programs, reporting, and finding the bench's own drives."""

import json
import subprocess


class Bench:
    def __init__(self, settings):
        self.bin = settings["build"] + "/bin"
        self._results = open("/run/bench/results.jsonl", "a", encoding="utf-8")

    def report(self, name, outcome, detail=""):
        self._results.write(json.dumps({"name": name, "outcome": outcome, "detail": detail}) + "\n")
        self._results.flush()

    def check(self, name, condition, detail=""):
        self.report(name, "ok" if condition else "FAIL", "" if condition else detail)
        return condition

    def equal(self, name, got, wanted):
        return self.check(name, got == wanted, f"got {got!r}, wanted {wanted!r}")

    def skip(self, name, reason):
        self.report(name, "skip", reason)

    def run(self, *command, timeout=60):
        """Exit code and standard output; standard error goes to the log of the guest."""
        done = subprocess.run(command, stdout=subprocess.PIPE, text=True, timeout=timeout, check=False,
                              errors="replace")
        print("$", *command, "->", done.returncode, flush=True)
        return done.returncode, done.stdout

    def json(self, *command, timeout=60):
        _, text = self.run(*command, timeout=timeout)
        try:
            return json.loads(text)
        except ValueError:
            print(text, flush=True)
            return {}

    def smartctl(self, node, *options):
        return self.json("smartctl", "-j", *(options or ("-i",)), node)

    def disks(self):
        """Whole disks as the kernel sees them, by model or serial where there is one."""
        listing = self.json("lsblk", "-J", "-b", "-d", "-o", "NAME,MODEL,SERIAL,SIZE,TRAN,TYPE,LOG-SEC,PHY-SEC,MAJ:MIN")
        return listing.get("blockdevices", [])

    def own_drive(self, marker):
        """Node of the bench's drive whose model or serial holds the marker; None when there is none. Nothing else is
        ever handed out, so a check that writes cannot reach a drive that the bench did not make."""
        if not marker.startswith(("OSTRIABENCH", "OB")):
            raise ValueError(f"{marker} is no marker of the bench")
        for disk in self.disks():
            if marker in (disk.get("model") or "") or marker in (disk.get("serial") or ""):
                return "/dev/" + disk["name"]
        return None
