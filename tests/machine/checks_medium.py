"""Bad sectors, a drive that is pulled out, and a damaged file system: nothing is missed, and nothing is made up."""

import json
import subprocess
import time

DEBUG = "/sys/bus/pseudo/drivers/scsi_debug/"
FIRST, COUNT = 4660, 3


def setting(name, value):
    with open(DEBUG + name, "w", encoding="ascii") as file:
        file.write(str(value))


def bad_sectors(bench, drive, index):
    code, document = bench.product("recover", "scan", index)
    runs = document.get("tool_runs", [{}])
    sectors = runs[0].get("sectors", {})
    bench.equal("medium: the scan finds exactly the bad sectors",
                (code, sectors.get("bad_sectors"), sectors.get("list"), sectors.get("scanned_sectors")),
                (1, COUNT, [str(FIRST + i) for i in range(COUNT)] if sectors.get("list") and isinstance(sectors["list"][0], str)
                 else [FIRST + i for i in range(COUNT)], 131072))
    # Smaller blocks go through the page cache there, and good neighbours count as bad.
    _, text = bench.run("badblocks", "-b", "4096", drive.node)
    bench.equal("medium: badblocks finds them in the same pages", {int(line) for line in text.split()},
                {(FIRST + i) // 8 for i in range(COUNT)})
    code, document = bench.product("-El(START_RANGE=0,STOP_RANGE=10,COVERAGE_AREA=100,ERROR_LIMIT=10)", index)
    bench.equal("medium: the linear read test fails the drive", (code, [run["result"] for run in document.get("test_runs", [])]),
                (1, [1]))
    code, document = bench.product("recover", "repair", bench.own_name_of(drive), "--assume", "yes")
    sectors = document.get("tool_runs", [{}])[0].get("sectors", {})
    bench.equal("medium: a sector that stays bad is not called repaired",
                (code, sectors.get("bad_sectors"), sectors.get("repaired_sectors")), (1, COUNT, 0))


def pulled_out(bench, drive, index):
    """The drive goes away in the middle of a scan."""
    setting("opts", 0)
    setting("delay", 250)  # a second or so for each command
    command = (bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "-En", index, "--json")
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as process:
        for line in process.stderr:
            if "started" in line:
                break
        time.sleep(1)
        with open(f"/sys/block/{drive.name}/device/delete", "w", encoding="ascii") as file:
            file.write("1")
        pulled = time.monotonic()
        try:
            text, _ = process.communicate(timeout=100)
        except subprocess.TimeoutExpired:
            process.kill()
            text = "{}"
    took = time.monotonic() - pulled
    document = json.loads(text)
    results = [run["result"] for run in document.get("test_runs", [])]
    print(document.get("test_runs"), took, flush=True)
    bench.check("medium: a drive that is pulled out ends the test with a verdict",
                process.returncode in (1, 3, 4, 5, 6) and len(results) == 1 and results[0] != 0, (process.returncode, document))
    bench.check("medium: and soon", took < 60, took)


def file_system(bench, drive):
    """A mounted and damaged ext4 volume is checked, mended and mounted again."""
    bench.modprobe("ext4")
    bench.run("sgdisk", "--zap-all", "-n1:2048:+40M", "-t1:8300", drive.node)
    bench.run("partprobe", drive.node)
    node = drive.node + "1"
    bench.run("mkfs.ext4", "-q", "-F", node)
    # The inode of lost+found, emptied.
    bench.run("debugfs", "-w", "-R", "clri <11>", node)
    code, _ = bench.run("e2fsck", "-fn", node)
    bench.check("medium: the bench's damage is one", code != 0, code)
    bench.run("mkdir", "-p", "/mnt/check")
    bench.run("mount", "-o", "noatime", node, "/mnt/check")
    code, document = bench.product("recover", "filesystem", bench.own_name_of(drive), "--assume", "yes")
    print(document, flush=True)
    parts = document.get("tool_runs", [{}])[0].get("partitions", [])
    bench.check("medium: the file system is checked", parts and parts[0]["report"] != "", document)
    with open("/proc/mounts", encoding="utf-8") as file:
        mounted = [line for line in file if line.startswith(node + " ")]
    bench.check("medium: and mounted again with its options", len(mounted) == 1 and "noatime" in mounted[0], mounted)
    bench.run("umount", "/mnt/check")
    code, _ = bench.run("e2fsck", "-fn", node)
    bench.equal("medium: a second pass finds nothing", code, 0)


def statuses(document):
    return [part["status"] for run in document.get("tool_runs", []) for part in run.get("partitions", [])]


def checked_by_hand(bench, drive):
    """An unmounted and damaged volume, by the check itself: mended, and then sound."""
    node = drive.node + "1"
    bench.run("debugfs", "-w", "-R", "clri <11>", node)
    answers = [bench.probe("check", node) for _ in range(2)]
    bench.equal("medium: a damaged volume is mended, and then sound", [answer.get("status") for answer in answers], [9, 0])
    percents = answers[0].get("percents", [])
    bench.check("medium: the check tells how far it is",
                percents and percents == sorted(set(percents)) and percents[-1] == 100, percents)
    code, _ = bench.run("e2fsck", "-fn", node)
    bench.equal("medium: and e2fsck agrees", code, 0)
    bench.run("debugfs", "-w", "-R", "clri <11>", node)
    name = bench.own_name_of(drive)
    answers = [statuses(bench.product("recover", "filesystem", name, "--assume", "yes")[1]) for _ in range(2)]
    bench.equal("medium: by the program it is checked without being mounted, too", answers, [[9], [0]])
    code, _ = bench.run("e2fsck", "-fn", node)
    bench.equal("medium: and is mended", code, 0)


def running_system(bench, drive):
    """A volume of the running system is never checked at once; the user may have it checked at the next start."""
    node = drive.node + "1"
    bench.run("mkdir", "-p", "/boot")
    bench.run("mount", node, "/boot")
    name = bench.own_name_of(drive)
    state = lambda: bench.run("dumpe2fs", "-h", node)[1]
    field = lambda text, name: [line for line in text.splitlines() if line.startswith(name)]
    before = state()
    code, document = bench.product("recover", "filesystem", name, "--assume", "no")
    bench.check("medium: without a yes nothing is asked for", code == 3 and 3 not in statuses(document), (code, document))
    bench.equal("medium: and nothing is changed", field(state(), "Filesystem state"), field(before, "Filesystem state"))
    code, document = bench.product("recover", "filesystem", name, "--assume", "yes")
    bench.equal("medium: a volume of the running system is checked at the next start only", (code, statuses(document)), (3, [3]))
    with open("/proc/mounts", encoding="utf-8") as file:
        bench.check("medium: it was never taken off line", node + " /boot " in file.read())
    bench.run("umount", "/boot")
    code, text = bench.run("e2fsck", "-p", node)
    bench.check("medium: the next start's check is a whole one", code in (0, 1) and "clean," not in text, (code, text))
    bench.run("mount", node, "/boot")
    bench.run("umount", "/boot")
    code, text = bench.run("e2fsck", "-p", node)
    bench.check("medium: and the only one", code == 0 and "clean," in text, (code, text))


def run(bench):
    if not bench.modprobe("scsi_debug", "dev_size_mb=64", "opts=2", f"medium_error_start={FIRST}", f"medium_error_count={COUNT}"):
        bench.skip("medium: bad sectors", "this kernel has no scsi_debug")
    else:
        setting("opts", 2)
        drive = bench.needed("scsi_debug", "medium")
        index = drive and bench.index_of(drive)
        if bench.check("medium: the drive has a number", index is not None):
            bad_sectors(bench, drive, index)
            pulled_out(bench, drive, index)
    drive = bench.needed("OBSCSI0001", "medium")
    if drive:
        file_system(bench, drive)
        checked_by_hand(bench, drive)
        running_system(bench, drive)
