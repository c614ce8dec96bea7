"""Bad sectors, a drive that is pulled out, and a damaged file system: nothing is missed, and nothing is made up."""

import subprocess
import threading
import time

DEBUG = "/sys/bus/pseudo/drivers/scsi_debug/"
FIRST, COUNT = 4660, 3


def setting(name, value):
    with open(DEBUG + name, "w", encoding="ascii") as file:
        file.write(str(value))


def bad_sectors(bench, index):
    code, document = bench.product("recover", "scan", index)
    runs = document.get("tool_runs", [{}])
    sectors = runs[0].get("sectors", {})
    bench.equal("medium: the scan finds exactly the bad sectors",
                (code, sectors.get("bad_sectors"), sectors.get("list"), sectors.get("scanned_sectors")),
                (1, COUNT, [str(FIRST + i) for i in range(COUNT)] if sectors.get("list") and isinstance(sectors["list"][0], str)
                 else [FIRST + i for i in range(COUNT)], 131072))
    code, document = bench.product("-En", index)
    bench.equal("medium: the full disk scan fails the drive", (code, [run["result"] for run in document.get("test_runs", [])]),
                (1, [1]))
    code, document = bench.product("recover", "repair", index, "--assume", "yes")
    sectors = document.get("tool_runs", [{}])[0].get("sectors", {})
    bench.equal("medium: a sector that stays bad is not called repaired",
                (code, sectors.get("bad_sectors"), sectors.get("repaired_sectors")), (1, COUNT, 0))


def pulled_out(bench, drive, index):
    """The drive goes away in the middle of a scan."""
    setting("opts", 0)
    setting("delay", 20)

    def pull():
        time.sleep(5)
        with open(f"/sys/block/{drive.name}/device/delete", "w", encoding="ascii") as file:
            file.write("1")

    puller = threading.Thread(target=pull)
    puller.start()
    started = time.monotonic()
    try:
        code, document = bench.product("-En", index, timeout=100)
        results = [run["result"] for run in document.get("test_runs", [])]
        bench.check("medium: a drive that is pulled out ends the test with a verdict",
                    code in (1, 3, 4, 5, 6) and len(results) == 1 and results[0] != 0, (code, document))
        bench.check("medium: and soon", time.monotonic() - started < 60, time.monotonic() - started)
    except subprocess.TimeoutExpired:
        bench.check("medium: a drive that is pulled out ends the test with a verdict", False, "still running")
    puller.join()


def file_system(bench, drive):
    """A mounted and damaged ext4 volume is checked, mended and mounted again."""
    bench.modprobe("ext4")
    bench.run("sgdisk", "--zap-all", "-n1:2048:+40M", "-t1:8300", drive.node)
    bench.run("partprobe", drive.node)
    node = drive.node + "1"
    bench.run("mkfs.ext4", "-q", "-F", node)
    # A free-blocks count that is wrong.
    bench.run("debugfs", "-w", "-R", "set_super_value free_blocks_count 1", node)
    code, _ = bench.run("e2fsck", "-fn", node)
    bench.check("medium: the bench's damage is one", code != 0, code)
    bench.run("mkdir", "-p", "/mnt/check")
    bench.run("mount", "-o", "noatime", node, "/mnt/check")
    index = bench.index_of(drive)
    code, document = bench.product("recover", "filesystem", index, "--assume", "no")
    print(document, flush=True)
    parts = document.get("tool_runs", [{}])[0].get("partitions", [])
    bench.check("medium: the file system is checked", parts and parts[0]["report"] != "", document)
    with open("/proc/mounts", encoding="utf-8") as file:
        mounted = [line for line in file if line.startswith(node + " ")]
    bench.check("medium: and mounted again with its options", len(mounted) == 1 and "noatime" in mounted[0], mounted)
    bench.run("umount", "/mnt/check")
    code, _ = bench.run("e2fsck", "-fn", node)
    bench.equal("medium: a second pass finds nothing", code, 0)


def run(bench):
    if not bench.modprobe("scsi_debug", "dev_size_mb=64", "opts=2", f"medium_error_start={FIRST}", f"medium_error_count={COUNT}"):
        bench.skip("medium: bad sectors", "this kernel has no scsi_debug")
    else:
        setting("opts", 2)
        drive = bench.needed("scsi_debug", "medium")
        index = drive and bench.index_of(drive)
        if bench.check("medium: the drive has a number", index is not None):
            bad_sectors(bench, index)
            pulled_out(bench, drive, index)
    drive = bench.needed("OBSCSI0001", "medium")
    if drive:
        file_system(bench, drive)
