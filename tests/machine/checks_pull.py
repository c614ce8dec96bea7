"""Drives that go in the middle, kernels that fail commands in every way scsi_debug knows, programs that are killed, and
surroundings in which much is missing: each run ends soon with a documented exit code, and leaves the system as it was."""

import contextlib
import json
import os
import signal
import subprocess
import time

from checks_medium import FIRST, setting
from checks_repair import mounts, shell

PROGRAM = "/OstriaDiagnosticsCLI"
SOON = 90
# Nothing was found wrong with the drive, and nothing was asked that it could not do.
ENDS = (0, 1, 3, 4, 5, 6)


def start(bench, *arguments):
    return subprocess.Popen((bench.bin + PROGRAM, "-Mstorage", *arguments, "--json"), stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, text=True)


def begun(process):
    """Waits for the line that says that the test or tool has begun."""
    for line in process.stderr:
        if "started" in line:
            return True
    return False


def end(process, seconds=SOON):
    """Exit code, results, and seconds; a run that does not end is -9."""
    since = time.monotonic()
    try:
        text, _ = process.communicate(timeout=seconds)
    except subprocess.TimeoutExpired:
        process.kill()
        text, _ = process.communicate()
    try:
        document = json.loads(text)
    except ValueError:
        document = {}
    results = [run.get("result", run.get("status")) for run in document.get("test_runs", []) + document.get("tool_runs", [])]
    return process.returncode, results, round(time.monotonic() - since)


def put(path, text):
    with open(path, "w", encoding="ascii") as file:
        file.write(text)


@contextlib.contextmanager
def pullable(drive):
    """How the drive is pulled, and how it comes back."""
    device = os.path.realpath(f"/sys/block/{drive.name}/device")
    if drive.name.startswith("nvme"):
        controller = os.path.realpath(f"{device}/device") if os.path.exists(f"{device}/device/remove") else os.path.dirname(
            os.path.dirname(device))
        while not os.path.exists(controller + "/remove"):
            controller = os.path.dirname(controller)
        pull, back = (controller + "/remove", "1"), ("/sys/bus/pci/rescan", "1")
    elif "/usb" in device:
        port = device
        while not os.path.exists(port + "/idVendor"):
            port = os.path.dirname(port)
        name = os.path.basename(port)
        pull, back = ("/sys/bus/usb/drivers/usb/unbind", name), ("/sys/bus/usb/drivers/usb/bind", name)
    else:
        host = next(part for part in device.split("/") if part.startswith("host"))
        pull, back = (device + "/delete", "1"), (f"/sys/class/scsi_host/{host}/scan", "- - -")
    try:
        yield lambda: put(*pull)
    finally:
        put(*back)
        subprocess.run(("udevadm", "settle"), check=False, stderr=subprocess.DEVNULL)
        time.sleep(3)


def with_index(arguments, index):
    """The number stands behind the words of a tool, or behind the test."""
    words = 2 if arguments[0] == "recover" else 1
    return (*arguments[:words], index, *arguments[words:])


def pulled(bench, marker, arguments):
    drive = bench.needed(marker, "pull")
    index = drive and bench.index_of(drive)
    name = f"pull: {marker}, {' '.join(arguments)}"
    if not bench.check(f"{name}: has a number", index is not None):
        return
    with pullable(drive) as pull:
        process = start(bench, *with_index(arguments, index))
        if not begun(process):
            code, results, took = end(process)
            bench.report(name, "FAIL", f"it did not begin: {code} {results}")
            return
        time.sleep(0.3)
        pull()
        code, results, took = end(process)
    # A test of a drive this small may have ended before.
    whole = code == 0 and results == [0] and took < 1
    bench.check(name, whole or (code in (1, 3, 4, 6) and 0 not in results), (code, results, took))


PULLS = [(marker, arguments)
         for marker, kinds in (("OSTRIABENCH ATA", ("-El", "-En", "-Er", "-Ef")), ("OSTRIABENCHNVME1", ("-Qe", "-El")),
                               ("OBSCSI0001", ("-El", "-En", "-Er", "-Ef")), ("OBUSB00001", ("-El", "-En")))
         for arguments in [(kind,) for kind in kinds] + [("recover", "scan"), ("recover", "repair", "--assume", "yes")]]

# Bits of scsi_debug's option, and every how many commands.
FAULTS = [("recovered errors", 8, 3), ("aborted commands", 16, 7), ("short transfers", 0x100, 5), ("a busy host", 0x8000, 3),
          ("commands that are aborted", 0x10000, 5), ("commands that are lost", 4, 50)]


def faults(bench):
    if not bench.modprobe("scsi_debug", "dev_size_mb=8"):
        return bench.skip("pull: faults of the host", "this kernel has no scsi_debug")
    drive = bench.needed("scsi_debug", "pull")
    index = drive and bench.index_of(drive)
    put(f"/sys/block/{drive.name}/device/timeout", "2")
    for name, options, every in FAULTS:
        for arguments in (("-El", index), ("-Er", index), ("recover", "scan", index)):
            setting("opts", options)
            setting("every_nth", every)
            code, results, took = end(start(bench, *arguments), 150)
            setting("every_nth", 0)
            setting("opts", 0)
            # The kernel tries again; what is left is no defect, or is one that the drive reported.
            bench.check(f"pull: {name}: {' '.join(arguments[:-1])} ends with a documented code", code in ENDS, (code, results, took))
    bench.equal("pull: afterwards the drive is sound", end(start(bench, "-El", index))[0], 0)
    return bench.run("modprobe", "-r", "scsi_debug")


def killed(bench):
    """A repair or write test that is stopped gives the volume back; KILL at least leaves no file."""
    if not bench.modprobe("scsi_debug", "dev_size_mb=64", "opts=2", f"medium_error_start={FIRST}", "medium_error_count=3"):
        return
    drive = bench.needed("scsi_debug", "pull")
    setting("opts", 0)
    bench.modprobe("ext4")
    ready = shell(bench, f"mkfs.ext4 -q -F {drive.node} && mkdir -p /mnt/pull && mount {drive.node} /mnt/pull")
    if not bench.check("pull: a volume for signals", ready):
        return
    index = bench.index_of(drive)
    before = mounts()["/mnt/pull"]
    for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGINT):
        process = start(bench, "recover", "repair", index, "--assume", "yes")
        begun(process)
        time.sleep(0.2)
        process.send_signal(number)
        code, results, took = end(process)
        bench.check(f"pull: a repair stopped by {number.name} gives the volume back",
                    code in (0, 4) and mounts().get("/mnt/pull") == before, (code, results, took, mounts().get("/mnt/pull")))
    process = start(bench, "recover", "repair", index, "--assume", "yes")
    begun(process)
    process.kill()
    process.wait()
    process.stderr.close()
    process.stdout.close()
    time.sleep(1)
    if "/mnt/pull" not in mounts():
        shell(bench, f"mount {drive.node} /mnt/pull")
    bench.check("pull: after KILL the volume can be mounted, and no file is left",
                "/mnt/pull" in mounts() and sorted(os.listdir("/mnt/pull")) == ["lost+found"], os.listdir("/mnt/pull"))
    shell(bench, "umount /mnt/pull")
    bench.run("modprobe", "-r", "scsi_debug")


def poor(bench):
    """Surroundings in which something is missing, and many disks."""
    program = bench.bin + PROGRAM
    for name, command in (
            ("no /sys", f"mount -t tmpfs none /sys && {program} -Mstorage --list"),
            ("no /proc", f"umount -l /proc; {program} -Mstorage --list"),
            ("no nodes", f"mount -t tmpfs none /dev && {program} -Mstorage --list"),
            ("few files", f"ulimit -n 9; {program} -Mstorage --list"),
            ("little memory", f"ulimit -v 90000; {program} -Mstorage --list"),
            ("a read-only root", f"mount -o remount,ro / 2>/dev/null; {program} -Mstorage -Qm 0 --report /r.html")):
        code, _ = bench.run("unshare", "-m", "sh", "-c", command, timeout=SOON)
        bench.check(f"pull: {name} ends with a documented code", code in (*ENDS, 2), code)
    if bench.modprobe("scsi_debug", "dev_size_mb=8", "num_tgts=100", "max_luns=2"):
        since = time.monotonic()
        code, document = bench.product("--list", timeout=240)
        bench.check("pull: 200 disks more are listed", code in (0, 5) and len(document.get("devices", [])) >= 200,
                    (code, len(document.get("devices", [])), round(time.monotonic() - since)))
        bench.run("modprobe", "-r", "scsi_debug")
    two = [start(bench, "-El", "0") for _ in range(2)]
    codes = [end(process)[0] for process in two]
    bench.check("pull: two programs test one drive", set(codes) <= {0, 5}, codes)


def run(bench):
    for marker, arguments in PULLS:
        pulled(bench, marker, arguments)
    faults(bench)
    killed(bench)
    poor(bench)
