"""Kernels that fail commands in every way scsi_debug knows, programs that are killed, and surroundings in which much is
missing: each run ends soon with a documented exit code, and leaves the system as it was."""

import json
import os
import signal
import threading
import time

from checks_files import MOUNT, fill, settled
from checks_medium import FIRST, setting
from checks_pull import PROGRAM, SOON, begun, end, put, start
from checks_repair import mounts, shell

ENDS = (0, 1, 3, 4, 5, 6)
FULL = "/mnt/full"

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
    name = bench.own_name_of(drive)
    before = mounts()["/mnt/pull"]
    for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGINT):
        process = start(bench, "recover", "repair", name, "--assume", "yes")
        begun(process)
        time.sleep(0.2)
        process.send_signal(number)
        code, results, took = end(process)
        bench.check(f"hardship: a repair stopped by {number.name} gives the volume back",
                    code in (0, 4) and mounts().get("/mnt/pull") == before, (code, results, took, mounts().get("/mnt/pull")))
    process = start(bench, "recover", "repair", name, "--assume", "yes")
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


def document_of(process, seconds):
    """The document that a run prints, if it comes in time: a program whose request the kernel still holds cannot go, but can speak."""
    answer = []

    def read():
        text = ""
        for line in process.stdout:
            text += line
            try:
                answer.append(json.loads(text))
                return
            except ValueError:
                pass

    reader = threading.Thread(target=read, daemon=True)
    reader.start()
    reader.join(seconds)
    return answer[0] if answer else {}


def mapped(bench):
    """A volume above the drive that becomes slow, and one that answers nothing any more in the middle of a write test."""
    drive = bench.needed("OSTRIABENCHNVME1", "hardship")
    if not bench.modprobe("dm_mod") or not bench.modprobe("dm_delay"):
        return bench.skip("hardship: slow and silent volumes", "this kernel has no dm-delay")
    os.environ["DM_DISABLE_UDEV"] = "1"
    bench.modprobe("ext4")
    bench.run("sgdisk", "--zap-all", "-n1:2048:0", drive.node)
    bench.run("partprobe", drive.node)
    part = drive.node + "p1"
    with open(f"/sys/class/block/{drive.name}p1/size", encoding="ascii") as file:
        size = file.read().strip()
    bench.run("dmsetup", "create", "benchslow", "--table", f"0 {size} linear {part} 0")
    _, name = bench.run("dmsetup", "info", "-c", "--noheadings", "-o", "blkdevname", "benchslow")
    node = "/dev/" + name.strip()
    bench.run("mkfs.ext4", "-q", "-F", "-m0", node)
    before = fill(bench, node)

    def table(line):
        bench.run("dmsetup", "suspend", "benchslow")
        bench.run("dmsetup", "reload", "benchslow", "--table", line)
        bench.run("dmsetup", "resume", "benchslow")

    index = bench.index_of(drive)
    write = ("-Ew", index, "--assume-write", drive.serial.strip())
    table(f"0 {size} delay {part} 0 5 {part} 0 5")
    code, results, took = end(start(bench, *write), 240)
    bench.check("hardship: a volume that takes its time is no defect", (code, results) == (0, [0]), (code, results, took))
    table(f"0 {size} linear {part} 0")
    process = start(bench, *write)
    begun(process)
    time.sleep(0.5)
    bench.run("dmsetup", "suspend", "--noflush", "--nolockfs", "benchslow")
    listing = document_of(start(bench, "--list"), SOON)
    bench.check("hardship: the list comes beside a volume that answers nothing", len(listing.get("devices", [])) > 1, listing)
    document = document_of(process, SOON)
    results = [run["result"] for run in document.get("test_runs", [])]
    bench.check("hardship: a write test whose volume answers nothing ends, and passes nothing", results and 0 not in results, document)
    bench.run("dmsetup", "resume", "benchslow")
    bench.check("hardship: and the program goes when the volume is back", end(process)[0] in (1, 3, 4, 6), process.returncode)
    bench.equal("hardship: nothing of the test is left on the volume", settled(before), before)
    bench.run("umount", MOUNT)
    code, _ = bench.run("e2fsck", "-fn", node)
    bench.equal("hardship: the volume is sound", code, 0)
    return bench.run("dmsetup", "remove", "benchslow")


def poor(bench):
    """Surroundings in which something is missing, and many disks."""
    program = bench.bin + PROGRAM
    for name, command in (
            ("no /sys", f"mount -t tmpfs none /sys && {program} -Mstorage --list"),
            # Without /proc the program does not know its own folder, and takes no module from where it was started.
            ("no /proc, a planted module", f"mkdir -p /run/planted && cd /run/planted && cp {bench.bin}/libmodule_storage_virtual.so "
             f"libmodule_storage.so && umount -l /proc; {program} -Mstorage --list; test $? = 6 || exit 99"),
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


def full(bench):
    """File systems without space: a report, a capture, a list of sectors or a kept run is an error, and leaves no half file."""
    drives = [bench.needed(marker, "hardship") for marker in ("OSTRIABENCH ATA", "OBATAB0001")]
    if None in drives or not bench.modprobe("ext4") or not bench.modprobe("scsi_debug", "dev_size_mb=8"):
        return bench.skip("hardship: full file systems", "a drive, ext4 or scsi_debug is missing")
    scratch = bench.needed("scsi_debug", "hardship")
    sound, bad = [bench.index_of(drive) for drive in drives]
    os.makedirs(FULL, exist_ok=True)
    os.environ["OSTRIA_RESULTS"] = FULL + "/results.sqlite"
    for kind, mount in (("tmpfs", "mount -t tmpfs -o size=1m none"), ("ext4", f"mkfs.ext4 -q -F {scratch.node} && mount {scratch.node}")):
        bench.check(f"hardship: {kind} to be filled is there", shell(bench, f"{mount} {FULL}"))
        bench.equal(f"hardship: {kind} with room keeps a run", bench.product("-Qm", sound, "--record")[0], 0)
        shell(bench, f"dd if=/dev/zero of={FULL}/fill bs=4k 2>/dev/null; dd if=/dev/zero of={FULL}/more bs=512 2>/dev/null; sync")
        before = sorted(os.listdir(FULL))
        for arguments, wanted in ((("-Qm", sound, "--report", FULL + "/r.html"), (6,)), (("-Qm", sound, "--record"), (6,)),
                                  (("--capture", FULL + "/c.json", sound), (6,)), (("recover", "scan", bad, "-o", FULL + "/list"), (1, 6))):
            code, _ = bench.product(*arguments)
            bench.check(f"hardship: {' '.join(arguments)}: full {kind} is an error", code in wanted, code)
            bench.equal(f"hardship: {' '.join(arguments)}: full {kind} holds what it held", sorted(os.listdir(FULL)), before)
        code, kept = bench.product("--history")
        bench.check(f"hardship: the run of before is still kept on full {kind}", code == 0 and len(kept.get("records", [])) == 1, (code, kept))
        shell(bench, f"umount {FULL}")
    del os.environ["OSTRIA_RESULTS"]
    return bench.run("modprobe", "-r", "scsi_debug")


def run(bench):
    full(bench)
    faults(bench)
    killed(bench)
    mapped(bench)
    poor(bench)
