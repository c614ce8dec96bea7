"""What the program answers about sound drives on a real kernel, and that looking at drives disturbs nobody."""

import os
import re
import subprocess
import time

HEALTHY = ("OSTRIABENCH ATA", "OSTRIABENCHNVME1", "OBSCSI0001", "OBSCSI4K01", "OBUSB00001", "0xdeadbeef")
UDEVD = "/usr/lib/systemd/systemd-udevd"


def healthy(bench, indices):
    """Six sound drives: nothing that a drive does not offer counts, and nothing is written."""
    drives = [bench.drive(marker) for marker in HEALTHY]
    before = {drive.node: written(drive) for drive in drives if drive}
    for diagnostic in ("-Q", "-E"):
        code, document = bench.product(diagnostic, *indices, timeout=900)
        runs = [(run["test"]["key"], run["device_index"], run["outcome"]) for run in document.get("test_runs", [])]
        bench.equal(f"answer: {diagnostic} of six sound drives ends with 0", code, 0)
        bench.check(f"answer: {diagnostic} looked at each of them",
                    {str(device) for _, device, outcome in runs if outcome == "passed"} == set(indices), runs)
        bench.equal(f"answer: {diagnostic} failed nothing", [run for run in runs if run[2] in ("failed", "stopped")], [])
        verdicts = {device["index"]: device["health"]["verdict"] for device in document.get("devices", [])
                    if str(device["index"]) in indices}
        bench.check(f"answer: {diagnostic} calls each of them good", set(verdicts.values()) == {"good"}, verdicts)
    bench.equal("answer: no sector was written", {drive.node: written(drive) for drive in drives if drive}, before)


def written(drive):
    """Sectors written to a disk since the kernel found it."""
    with open(f"/sys/block/{drive.name}/stat", encoding="ascii") as file:
        return int(file.read().split()[6])


def events(bench, *command):
    """Kernel events of block devices while a command runs."""
    with subprocess.Popen(("udevadm", "monitor", "--kernel", "--subsystem-match=block"), stdout=subprocess.PIPE, text=True) as monitor:
        time.sleep(1)
        bench.run(*command, timeout=300)
        bench.run("udevadm", "settle", "--timeout=30")
        time.sleep(1)
        monitor.terminate()
        text, _ = monitor.communicate(timeout=30)
    return re.findall(r"^KERNEL\[.*$", text, re.MULTILINE)


def quiet(bench, indices, drive):
    # The guest's root is a changed one, and there alone its udev is to work.
    os.environ["SYSTEMD_IGNORE_CHROOT"] = "1"
    bench.run(UDEVD, "--daemon")
    bench.run("udevadm", "trigger", "--settle", timeout=120)
    # The bench itself: whoever closes a disk that was open for writing has udev look at it again.
    if not bench.check("answer: udev watches the disks", events(bench, "sh", "-c", f"exec 3<>{drive.node}")):
        return
    program = (bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage")
    for name, arguments in (("list", ("--list",)), ("show", ("--show", *indices)), ("smart", ("smart", *indices))):
        seen = events(bench, *program, *arguments)
        bench.equal(f"answer: {name} causes no event", seen, [])
    bench.run("pkill", "systemd-udevd")


def run(bench):
    _, listing = bench.product("--list")
    drives = [bench.needed(marker, "answer") for marker in HEALTHY]
    if None in drives:
        return
    indices = [bench.index_of(drive, listing) for drive in drives]
    if not bench.check("answer: six sound drives are listed", None not in indices, listing):
        return
    quiet(bench, indices, drives[0])
    healthy(bench, indices)
