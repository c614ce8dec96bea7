"""Kernels that fail commands in every way scsi_debug knows, programs that are killed, and surroundings in which much is
missing: each run ends soon with a documented exit code, and leaves the system as it was."""

import os
import signal
import time

from checks_medium import FIRST, setting
from checks_pull import PROGRAM, SOON, begun, end, put, start
from checks_repair import mounts, shell

ENDS = (0, 1, 3, 4, 5, 6)

# Bits of scsi_debug's option, and every how many commands.
FAULTS = [("recovered errors", 8, 3), ("aborted commands", 16, 7), ("short transfers", 0x100, 5), ("a busy host", 0x8000, 3),
          ("commands that are aborted", 0x10000, 5), ("commands that are lost", 4, 50)]


def faults(bench):
    if not bench.modprobe("scsi_debug", "dev_size_mb=8"):
        return bench.skip("hardship: faults of the host", "this kernel has no scsi_debug")
    drive = bench.needed("scsi_debug", "hardship")
    index = drive and bench.index_of(drive)
    put(f"/sys/block/{drive.name}/device/timeout", "2")
    for name, options, every in FAULTS:
        for arguments in (("-El", index), ("recover", "scan", index)):
            setting("opts", options)
            setting("every_nth", every)
            code, results, took = end(start(bench, *arguments), 150)
            setting("every_nth", 0)
            setting("opts", 0)
            # The kernel tries again; what is left is no defect, or is one that the drive reported.
            bench.check(f"hardship: {name}: {' '.join(arguments[:-1])} ends with a documented code", code in ENDS, (code, results, took))
    bench.equal("hardship: afterwards the drive is sound", end(start(bench, "-El", index))[0], 0)
    return bench.run("modprobe", "-r", "scsi_debug")


def killed(bench):
    """A repair or write test that is stopped gives the volume back; KILL at least leaves no file."""
    if not bench.modprobe("scsi_debug", "dev_size_mb=64", "opts=2", f"medium_error_start={FIRST}", "medium_error_count=3"):
        return
    drive = bench.needed("scsi_debug", "hardship")
    setting("opts", 0)
    bench.modprobe("ext4")
    ready = shell(bench, f"mkfs.ext4 -q -F {drive.node} && mkdir -p /mnt/pull && mount {drive.node} /mnt/pull")
    if not bench.check("hardship: a volume for signals", ready):
        return
    index = bench.index_of(drive)
    before = mounts()["/mnt/pull"]
    for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGINT):
        process = start(bench, "recover", "repair", index, "--assume", "yes")
        begun(process)
        time.sleep(0.2)
        process.send_signal(number)
        code, results, took = end(process)
        bench.check(f"hardship: a repair stopped by {number.name} gives the volume back",
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
    bench.check("hardship: after KILL the volume can be mounted, and no file is left",
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
        bench.check(f"hardship: {name} ends with a documented code", code in (*ENDS, 2), code)
    if bench.modprobe("scsi_debug", "dev_size_mb=8", "num_tgts=100", "max_luns=2"):
        since = time.monotonic()
        code, document = bench.product("--list", timeout=240)
        bench.check("hardship: 200 disks more are listed", code in (0, 5) and len(document.get("devices", [])) >= 200,
                    (code, len(document.get("devices", [])), round(time.monotonic() - since)))
        bench.run("modprobe", "-r", "scsi_debug")
    two = [start(bench, "-El", "0") for _ in range(2)]
    codes = [end(process)[0] for process in two]
    bench.check("hardship: two programs test one drive", set(codes) <= {0, 5}, codes)


def run(bench):
    faults(bench)
    killed(bench)
    poor(bench)
