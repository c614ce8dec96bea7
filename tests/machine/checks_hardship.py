"""Kernels that fail commands in every way scsi_debug knows, programs that are killed, and surroundings in which much is
missing: each run ends soon with a documented exit code, and leaves the system as it was."""

import os
import signal
import time

from checks_files import MOUNT, fill, settled
from checks_medium import FIRST, setting
from checks_pull import PROGRAM, SOON, begun, document_of, end, ending, put, start, with_name
from checks_repair import mounts, shell

ENDS = (0, 1, 3, 4, 5, 6)
FULL, PLACE = "/mnt/full", "/mnt/pull"

# Bits of scsi_debug's option, every how many commands, and whether each read must come through all the same.
FAULTS = [("recovered errors", 8, 1, True), ("aborted commands", 16, 7, False), ("short transfers", 0x100, 5, False),
          ("a busy host", 0x8000, 3, True), ("commands that are aborted", 0x10000, 5, False), ("commands that are lost", 4, 50, False)]


def is_right(code, runs, whole):
    """A pass is one of all that was asked for. The drive is sound: what is no pass is no defect, unless it was lost."""
    run = runs[0] if len(runs) == 1 else {}
    reads = run.get("read_times") or {}
    if run.get("outcome") == "passed":
        return code == 0 and reads.get("failed_reads") == 0 and reads.get("read_percent") == 100
    found = run.get("bad_ranges") or run.get("sectors", {}).get("bad_sectors")
    return not whole and not found and (code == 1 and run.get("lost") or code in (3, 6) and run.get("outcome") != "failed")


def faults(bench):
    if not bench.modprobe("scsi_debug", "dev_size_mb=8"):
        return bench.skip("hardship: faults of the host", "this kernel has no scsi_debug")
    drive = bench.needed("scsi_debug", "hardship")
    index = drive and bench.index_of(drive)
    put(f"/sys/block/{drive.name}/device/timeout", "2")
    # The read of a large block is many commands then, and the faults meet some.
    put(f"/sys/block/{drive.name}/queue/max_sectors_kb", "64")
    for name, options, every, whole in FAULTS:
        for arguments in (("-El", index), ("recover", "scan", index)):
            setting("opts", options)
            setting("every_nth", every)
            code, runs, took = ending(start(bench, *arguments), 150)
            setting("every_nth", 0)
            setting("opts", 0)
            print(name, arguments, code, [(run["outcome"], run["lost"]) for run in runs], took, flush=True)
            bench.check(f"hardship: {name}: {' '.join(arguments[:-1])} passes what was read, and finds nothing",
                        is_right(code, runs, whole), (code, runs, took))
    bench.equal("hardship: afterwards the drive is sound", end(start(bench, "-El", index))[0], 0)
    return bench.run("modprobe", "-r", "scsi_debug")


def killed(bench):
    """A repair or write test that is stopped gives the volume back; KILL at least leaves no file."""
    if not bench.modprobe("scsi_debug", "dev_size_mb=64", "opts=2", f"medium_error_start={FIRST}", "medium_error_count=3"):
        return
    bench.modprobe("ext4")
    for marker, kind, arguments in (("scsi_debug", "repair", ("recover", "repair", "--assume", "yes")),
                                    ("OSTRIABENCHNVME1", "write test", ("-Ew", "--assume-write", "OSTRIABENCHNVME1"))):
        drive = bench.needed(marker, "hardship")
        setting("opts", 0)
        ready = drive and shell(bench, f"mkfs.ext4 -q -F -m0 {drive.node} && mkdir -p {PLACE} && mount {drive.node} {PLACE}")
        if not bench.check(f"hardship: a volume for signals in a {kind}", ready):
            continue
        arguments = with_name(arguments, bench.own_name_of(drive))
        before = mounts()[PLACE]
        for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGINT, signal.SIGKILL):
            process = start(bench, *arguments)
            begun(process)
            time.sleep(0.2)
            process.send_signal(number)
            code, results, took = end(process)
            if number == signal.SIGKILL and PLACE not in mounts():
                shell(bench, f"mount {drive.node} {PLACE}")
            # A disk this small may have been repaired before.
            wanted = (-9,) if number == signal.SIGKILL else (0, 4) if kind == "repair" else (4,)
            bench.check(f"hardship: a {kind} that {number.name} ends gives the volume back, and leaves no file",
                        code in wanted and mounts().get(PLACE) == before and os.listdir(PLACE) == ["lost+found"],
                        (code, results, took, mounts().get(PLACE), os.listdir(PLACE)))
        bench.check(f"hardship: after a {kind} nothing holds the volume", shell(bench, f"umount {PLACE}"))
    bench.run("modprobe", "-r", "scsi_debug")


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
    looking = start(bench, "--show")
    listed = document_of(looking, SOON).get("devices", [])
    bench.check("hardship: all is shown beside a volume that answers nothing, and its drive, too",
                len(listed) > 1 and bench.listed(drive, {"devices": listed}), [device["id"] for device in listed])
    document = document_of(process, SOON)
    results = [run["result"] for run in document.get("test_runs", [])]
    bench.check("hardship: a write test whose volume answers nothing ends, and passes nothing", results and 0 not in results, document)
    bench.run("dmsetup", "resume", "benchslow")
    bench.check("hardship: and the program goes when the volume is back", end(process)[0] in (1, 3, 4, 6), process.returncode)
    bench.check("hardship: so does the one that showed it", end(looking)[0] in (0, 1, 5), looking.returncode)
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
    name = bench.own_name_of(bench.drive("OSTRIABENCH ATA"))
    two = [start(bench, "-El", name) for _ in range(2)]
    codes = [end(process)[0] for process in two]
    bench.equal("hardship: two programs test one drive", codes, [0, 0])


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
                                  (("--capture", FULL + "/c.json", sound), (6,)), (("recover", "scan", bad, "-o", FULL + "/list"), (1,))):
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
