"""Times of the product beside those of peers that do the same work on the same drives. Nothing here can fail for being
slow: the figures go to `benchmarks/run`, which prints them."""

import json
import os
import statistics
import subprocess
import threading
import time
from pathlib import Path

TARGET = Path("/sys/kernel/config/target")
LARGEST_BLOCK = 65535  # sectors of the first block that the product's search tries
MIB = 1 << 20
LISTED = (0, 1, 3, 5)  # a list was made; drives of it may be bad, unknown or worth watching
ANSWERED = tuple(code for code in range(256) if code & 3 == 0)  # smartctl opened the drive and read from it
LONGEST = 300  # seconds for one run


def run(bench):
    Speed(bench).run()


class Speed:
    def __init__(self, bench):
        self.bench = bench
        self.settings = bench.settings.get("speed", {})
        self.runs = self.settings.get("runs", 5)
        self.small = self.settings.get("small", False)
        self.cli = [bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage"]
        self.bare = bench.bin + "/bare_reads"
        self.rows = []
        self.notes = {}

    def run(self):
        self.discovery_growth()
        disks = [self.ram_disk(number, mebibytes) for number, mebibytes in
                 enumerate((16, 32) if self.small else (192, 384, 768))]
        disks = [disk for disk in disks if disk]
        if disks:
            self.scans(disks)
        else:
            self.bench.skip("speed: scans", "this kernel makes no RAM disk behind its SCSI loopback")
        self.commands(disks[-1] if disks else None)
        with open("/run/bench/speed.json", "w", encoding="utf-8") as file:
            json.dump({"rows": self.rows, "notes": self.notes}, file)
        self.bench.check("speed: every row was measured", all(row["good"] for row in self.rows),
                         [row["what"] for row in self.rows if not row["good"]])

    # Measuring

    @staticmethod
    def timed(command):
        """Seconds, processor seconds, peak memory in MiB and exit code of one run."""
        with open("/dev/null", "wb") as nowhere:
            begin = time.perf_counter()
            child = subprocess.Popen(command, stdout=nowhere, stderr=nowhere)
            limit = threading.Timer(LONGEST, child.kill)
            limit.start()
            _, status, usage = os.wait4(child.pid, 0)
            seconds = time.perf_counter() - begin
            limit.cancel()
        child.returncode = os.waitstatus_to_exitcode(status)
        return {"seconds": seconds, "cpu": usage.ru_utime + usage.ru_stime, "peak": usage.ru_maxrss / 1024,
                "code": child.returncode}

    @staticmethod
    def system_calls(command):
        trace = "/run/speed.trace"
        try:
            subprocess.run(["strace", "-f", "-c", "-o", trace, *command], stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, check=False, timeout=LONGEST)
        except subprocess.TimeoutExpired:
            print("speed: not ended under strace:", command, flush=True)
            return None
        # The lines of strace -c end with the calls, their errors if there are any, and the name.
        calls = {}
        for line in Path(trace).read_text(encoding="utf-8").splitlines():
            words = line.split()
            if len(words) >= 5 and words[3].isdigit():
                calls[words[-1]] = int(words[3])
        return calls if "total" in calls else None

    @classmethod
    def total_calls(cls, command):
        return (cls.system_calls(command) or {}).get("total")

    def beside(self, commands, runs=None):
        """Medians of interleaved runs, each command once in each round."""
        results = {name: [] for name in commands}
        names = list(commands)
        for round_number in range(runs or self.runs):
            for name in names[round_number % len(names):] + names[:round_number % len(names)]:
                results[name].append(self.timed(commands[name]))
        medians = {}
        for name, measured in results.items():
            medians[name] = {key: statistics.median(one[key] for one in measured) for key in ("seconds", "cpu", "peak")}
            medians[name]["codes"] = sorted({one["code"] for one in measured})
            print("speed:", name, medians[name], [round(one["seconds"], 3) for one in measured], flush=True)
        return medians

    def row(self, what, ours, peer=None, peer_name="", codes=(0,), peer_codes=(0,), **more):
        """@param codes  with which the product has done the work; any other is the time of something else"""
        good = (all(code in codes for code in ours.get("codes", [])) and ours["seconds"] > 0 and
                all(code in peer_codes for code in (peer or {}).get("codes", [])))
        if not good:
            print("speed: NOT MEASURED:", what, ours, peer, flush=True)
        self.rows.append({"what": what, "seconds": ours["seconds"], "peer": peer_name, "good": good,
                          "peer_seconds": peer["seconds"] if peer else None, "peak": ours.get("peak"), **more})

    def performs(self, test, index):
        """Whether a test reads the drive to its end. One that refuses it is quick."""
        _, document = self.bench.product(test, index, timeout=LONGEST)
        outcomes = [run["outcome"] for run in document.get("test_runs", [])]
        return self.bench.check(f"speed: {test} of a RAM disk passes", outcomes == ["passed"], outcomes)

    # Drives

    def ram_disk(self, number, mebibytes):
        """A disk in memory behind the kernel's own SCSI loopback; its node, or None."""
        if not TARGET.exists():
            for module in ("target_core_mod", "tcm_loop"):
                if not self.bench.modprobe(module):
                    return None
            if not TARGET.exists():
                subprocess.run(["mount", "-t", "configfs", "none", "/sys/kernel/config"], check=False)
        before = set(os.listdir("/sys/block"))
        try:
            store = TARGET / f"core/rd_mcp_{number}/speed{number}"
            store.mkdir(parents=True)
            (store / "control").write_text(f"rd_pages={mebibytes * 256}", encoding="ascii")
            (store / "wwn/vpd_unit_serial").write_text(f"OBSPEED{number:04}", encoding="ascii")
            (store / "enable").write_text("1", encoding="ascii")
            # Without a cache it refuses reads that have to go past one, as those of the seek tests do.
            for attribute in ("emulate_write_cache", "emulate_fua_write"):
                (store / "attrib" / attribute).write_text("1", encoding="ascii")
            name = f"naa.600140500000000{number}"
            portal = TARGET / f"loopback/{name}/tpgt_0"
            portal.mkdir(parents=True)
            (portal / "nexus").write_text(f"naa.600140500000001{number}", encoding="ascii")
            unit = portal / "lun/lun_0"
            unit.mkdir(parents=True)
            os.symlink(store, unit / "speed")
        except OSError as error:
            print("speed: no RAM disk:", error, flush=True)
            return None
        for _ in range(100):
            made = [name for name in set(os.listdir("/sys/block")) - before
                    if int(Path(f"/sys/block/{name}/size").read_text(encoding="ascii")) == mebibytes * 2048]
            if made:
                time.sleep(0.5)
                return "/dev/" + made[0]
            time.sleep(0.1)
        return None

    def index(self, node):
        """The product's number of a node."""
        major, minor = os.major(os.stat(node).st_rdev), os.minor(os.stat(node).st_rdev)
        number = str(minor & 0xFF | major << 8 | (minor & ~0xFF) << 12)
        _, listing = self.bench.product("--list")
        self.notes["drives"] = len(listing.get("devices", []))
        return next((str(device["index"]) for device in listing.get("devices", []) if device["id"] == number), None)

    # Rows

    def scans(self, disks):
        node = disks[-1]
        index = self.index(node)
        if index is None:
            self.bench.report("speed: the RAM disk is listed", "FAIL", node)
            return
        if not self.performs("-En", index):
            return
        size = os.path.getsize(node) or int(Path(f"/sys/block/{node[5:]}/size").read_text(encoding="ascii")) * 512
        block = min(LARGEST_BLOCK * 512, size)
        medians = self.beside({
            "scan": [*self.cli, "-En", index],
            "before": [*self.cli, "--show", index],
            "dd": ["dd", f"if={node}", "of=/dev/null", "bs=32M", "iflag=direct"],
            "probe": [self.bare, "block", node, str(block), "5"],
            "start": [self.bare, "block", node, str(block), "0"],
            "badblocks": ["badblocks", "-b", "4096", node],
            "badblocks8192": ["badblocks", "-b", "4096", "-c", "8192", node]})
        probe = medians["probe"]["seconds"] - medians["start"]["seconds"]
        scan = medians["scan"]
        alone = dict(scan, seconds=scan["seconds"] - medians["before"]["seconds"] - probe)
        gibibytes = size / (1 << 30)
        self.row("full scan, less what comes before it and the search for the block", alone, medians["dd"], "dd bs=32M iflag=direct",
                 goal=1.05, cpu_per_gib=(scan["cpu"] - medians["before"]["cpu"]) / gibibytes, block_mib=block / MIB)
        self.row("  five reads of the largest block, as the search for it makes", {"seconds": probe}, None, "")
        self.row("full scan, the whole command", scan, medians["badblocks"], "badblocks -b 4096", goal=0.5,
                 cpu_per_gib=scan["cpu"] / gibibytes)
        self.row("full scan, the whole command", scan, medians["badblocks8192"], "badblocks -b 4096 -c 8192", goal=1.1)
        self.notes["dd_cpu_per_gib"] = medians["dd"]["cpu"] / gibibytes
        self.notes["scan_calls"] = self.total_calls([*self.cli, "-En", index])
        for disk in disks[:-1]:
            number = self.index(disk)
            part = self.beside({"scan": [*self.cli, "-En", number], "before": [*self.cli, "--show", number],
                                "dd": ["dd", f"if={disk}", "of=/dev/null", "bs=32M", "iflag=direct"]}, min(self.runs, 3))
            mebibytes = int(Path(f"/sys/block/{disk[5:]}/size").read_text(encoding="ascii")) // 2048
            self.row(f"full scan of {mebibytes} MiB, less what comes before it",
                     dict(part["scan"], seconds=part["scan"]["seconds"] - part["before"]["seconds"]), part["dd"], "dd bs=32M iflag=direct")

    def commands(self, node):
        ata = self.bench.needed("OSTRIABENCH ATA", "speed")
        nvme = self.bench.needed("OSTRIABENCHNVME1", "speed")
        if ata is None or nvme is None:
            return
        ata_index, nvme_index = self.index(ata.node), self.index(nvme.node)
        medians = self.beside({
            "help": [*self.cli, "--help"], "smartctl -i": ["smartctl", "-i", ata.node],
            "list": [*self.cli, "--list"], "scan-open": ["smartctl", "--scan-open"],
            "smart": [*self.cli, "smart", ata_index], "smartctl -A": ["smartctl", "-A", ata.node],
            "nvme": [*self.cli, "smart", nvme_index], "smart-log": ["nvme", "smart-log", nvme.node]})
        drives = self.notes.get("drives", 0)
        self.row("start-up, --help", medians["help"], medians["smartctl -i"], "smartctl -i", peer_codes=ANSWERED, goal=1.0)
        self.row(f"list of {drives} drives, damaged ones among them", medians["list"], medians["scan-open"],
                 "smartctl --scan-open", codes=LISTED, goal=0.5)
        self.row("SMART report of one disk", medians["smart"], medians["smartctl -A"], "smartctl -A", peer_codes=ANSWERED, goal=0.5)
        self.row("report of one NVMe drive", medians["nvme"], medians["smart-log"], "nvme smart-log", goal=0.6)
        start = self.total_calls([*self.cli, "--help"])
        for name, arguments, count in (("list", ["--list"], drives), ("smart", ["smart", ata_index], 1),
                                       ("nvme", ["smart", nvme_index], 1)):
            calls = self.total_calls([*self.cli, *arguments])
            if calls is not None and start is not None and count:
                self.notes[f"calls_{name}"] = {"all": calls, "start": start, "per_drive": (calls - start) / count}
        if node:
            reads = 4001
            index = self.index(node)
            if index is None or not self.performs("-Qr", index):
                return
            medians = self.beside({"seek": [*self.cli, "-Qr", index], "before": [*self.cli, "--show", index],
                                   "bare": [self.bare, "seek", node, str(reads)]}, 3 if self.small else None)
            self.row("random seek test, less what comes before it",
                     dict(medians["seek"], seconds=medians["seek"]["seconds"] - medians["before"]["seconds"]),
                     medians["bare"], f"a bare loop of {reads} SG_IO reads", goal=1.05)

    def discovery_growth(self):
        """Also what one more drive costs, by system call: a drive of scsi_debug, empty and without partitions."""
        grown = []
        for drives in (1, 4) if self.small else (1, 16, 64, 256):
            if not self.bench.modprobe("scsi_debug", f"num_tgts={drives}", "dev_size_mb=8", "delay=0"):
                self.bench.skip("speed: growth of discovery", "this kernel has no scsi_debug")
                return
            time.sleep(1 + drives / 32)
            medians = self.beside({"list": [*self.cli, "--list"], "scan-open": ["smartctl", "--scan-open"]}, min(self.runs, 3))
            calls = {}
            if drives <= 16:  # strace takes minutes for more, and each drive costs the same
                calls = self.system_calls([*self.cli, "--list"]) or {}
            _, listing = self.bench.product("--list", timeout=600)
            found = len(listing.get("devices", []))
            self.row(f"list with {found} drives", medians["list"], medians["scan-open"], "smartctl --scan-open", codes=LISTED,
                     per_drive_calls=calls["total"] / max(found, 1) if calls else None)
            if calls:
                grown.append((found, calls))
            self.bench.run("rmmod", "scsi_debug")
            time.sleep(1)
        if len(grown) < 2:
            return
        (fewer, before), (more, after) = grown[0], grown[-1]
        if more > fewer:
            each = {name: (after[name] - before.get(name, 0)) / (more - fewer) for name in after}
            self.notes["calls_of_one_more_drive"] = {
                name: round(count, 1) for name, count in sorted(each.items(), key=lambda item: -item[1]) if count >= 0.5}
