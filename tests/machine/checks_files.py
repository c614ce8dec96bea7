"""The tests of NVMe drives and cards, which read the device in stretches and write through files, and drives that hang."""

import json
import os
import pty
import shutil
import subprocess
import time

from checks_answer import written

MOUNT = "/mnt/write"
CONTENT = "keep me" * 1000
RESERVE = 0x46666666


def card(bench, drive, index):
    """The card as its driver describes it."""
    _, listing = bench.product("--list")
    device = next(entry for entry in listing["devices"] if str(entry["index"]) == index)

    def sysfs(name):
        with open(f"/sys/block/{drive.name}/device/{name}", encoding="ascii") as file:
            return file.read().strip()

    bench.equal("files: the card has the identity that its driver reads",
                (device["model"], device["serial"], device["firmware"], device["size_bytes"], device["protocol"]),
                (sysfs("name"), sysfs("serial"), f"{int(sysfs('hwrev'), 16)}.{int(sysfs('fwrev'), 16)}", drive.bytes, "EMMC"))


def read(bench, drive, index):
    code, document = bench.product("-Qe", index, timeout=240)
    bench.equal(f"files: {drive.marker} passes the read test", (code, [run["result"] for run in document.get("test_runs", [])]),
                (0, [0]))


def state():
    """All that a run of the write test must leave as it was."""
    os.sync()
    with open(MOUNT + "/mine", encoding="ascii") as file:
        return sorted(os.listdir(MOUNT)), shutil.disk_usage(MOUNT).free, file.read() == CONTENT


def settled(wanted):
    """The space of a file that has gone comes back with a delay."""
    for _ in range(50):
        if state() == wanted:
            break
        time.sleep(0.2)
    return state()


def fill(bench, node, helper=()):
    bench.run("mkdir", "-p", MOUNT)
    code, _ = bench.run("mount", *helper, node, MOUNT)
    bench.equal(f"files: the bench mounts {node}", code, 0)
    with open(MOUNT + "/mine", "w", encoding="ascii") as file:
        file.write(CONTENT)
    before = state()
    bench.check("files: there is more space than the reserve", before[1] > RESERVE, before)
    return before


def passes(bench, name, drive, index, before):
    code, document = bench.product("-Ew", index, "--assume-write", drive.serial.strip(), timeout=240)
    bench.equal(f"files: the write test passes on {name}", (code, [run["result"] for run in document.get("test_runs", [])]),
                (0, [0]))
    bench.equal("files: nothing is left, and the space is free again", settled(before), before)


def killed(bench, drive, index, before):
    """The process dies in the middle of the writing."""
    command = (bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "-Ew", index, "--assume-write", drive.serial.strip(), "--json", "--progress=json")
    percent, least = 0, before[1]
    with subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True) as process:
        for line in process.stderr:
            event = json.loads(line) if line.startswith("{") else {}
            percent = max(percent, event.get("percent") or 0)
            if percent >= 10:
                least = shutil.disk_usage(MOUNT).free
                process.kill()
                break
    bench.check("files: the run is killed in the middle, with data in its file",
                10 <= percent < 100 and process.returncode == -9 and least < before[1], (percent, process.returncode, least))
    bench.equal("files: a killed run leaves no file, and the space is free again", settled(before), before)


def ext4(bench, drive, index):
    bench.modprobe("ext4")
    bench.run("mkfs.ext4", "-q", "-F", "-m0", "-L", "writetest", drive.node)
    before = fill(bench, drive.node)
    passes(bench, "ext4", drive, index, before)
    killed(bench, drive, index, before)
    code, _ = bench.run("umount", MOUNT)
    bench.equal("files: nothing of the test holds the volume", code, 0)
    code, _ = bench.run("e2fsck", "-fn", drive.node)
    bench.equal("files: the volume is sound", code, 0)
    # The kernel has no unbuffered access there, and would read back what it has kept.
    bench.run("mount", "-o", "data=journal", drive.node, MOUNT)
    code, document = bench.product("-Ew", index, "--assume-write", drive.serial.strip())
    print(document.get("test_runs"), flush=True)
    bench.equal("files: a volume that journals its data is not tested",
                (code, [run["result"] for run in document.get("test_runs", [])], state()), (3, [3], before))
    bench.run("umount", MOUNT)


def shown(terminal, last):
    """What a program writes to its terminal until a text is there, or the program has ended."""
    everything = b""
    while last is None or last not in everything:
        try:
            part = os.read(terminal, 4096)
        except OSError:
            return
        everything += part
        yield part


def replaced(bench, drive, index):
    """While the question waits, the volume of another drive comes to the mount point."""
    other = bench.needed("OSTRIABENCHNVME3", "files")
    if not other:
        return
    for disk in (drive, other):
        bench.run("mkfs.ext4", "-q", "-F", "-m0", "-E", "lazy_itable_init=0,lazy_journal_init=0", disk.node, timeout=120)
    fill(bench, drive.node)
    os.sync()
    master, slave = pty.openpty()
    command = (bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "-Ew", index, "--json")
    with subprocess.Popen(command, stdin=slave, stderr=slave, stdout=subprocess.PIPE, text=True) as process:
        os.close(slave)
        asked = b"".join(shown(master, b"Continue?"))
        bench.run("mount", other.node, MOUNT)
        os.sync()
        time.sleep(1)
        before = written(drive), written(other)
        os.write(master, b"y\n")
        list(shown(master, None))
        text, _ = process.communicate(timeout=120)
    os.close(master)
    bench.check("files: the write test asks on a terminal", b"Continue?" in asked, asked)
    os.sync()
    after = written(drive), written(other)
    run = (json.loads(text).get("test_runs") or [{}])[0]
    bench.check("files: a volume of another drive at the mount point is not tested",
                run.get("outcome") == "warning" and max(after[i] - before[i] for i in (0, 1)) < 2048, (run, before, after))
    bench.run("umount", MOUNT)
    bench.run("umount", MOUNT)
    bench.run("wipefs", "-a", other.node)


def ntfs(bench, drive, index):
    """A driver in user space, whose mounts do not tell the file system."""
    if not bench.modprobe("fuse"):
        bench.skip("files: NTFS", "this kernel has no fuse")
        return
    bench.run("sgdisk", "--zap-all", "-n1:2048:+1160M", "-t1:0700", drive.node)
    bench.run("partprobe", drive.node)
    node = drive.node + "p1"
    bench.run("mkfs.ntfs", "-q", "-Q", "-F", node, timeout=120)
    before = fill(bench, node, ("-t", "ntfs-3g"))
    with open("/proc/mounts", encoding="utf-8") as file:
        bench.equal("files: the mount table calls it by its driver", [line.split()[2] for line in file if MOUNT in line], ["fuseblk"])
    passes(bench, "NTFS", drive, index, before)
    code, _ = bench.run("umount", MOUNT)
    bench.equal("files: nothing of the test holds the NTFS volume", code, 0)


def hanging(bench, drive):
    """A device that answers nothing for a while, then all at once."""
    if not bench.modprobe("dm_mod"):
        bench.skip("files: a hanging device", "this kernel has no device mapper")
        return
    os.environ["DM_DISABLE_UDEV"] = "1"
    bench.run("dmsetup", "create", "benchhang", "--table", f"0 {drive.bytes // 512} linear {drive.node} 0")
    _, name = bench.run("dmsetup", "info", "-c", "--noheadings", "-o", "blkdevname", "benchhang")
    bench.run("dmsetup", "suspend", "--noflush", "--nolockfs", "benchhang")
    answer = bench.probe("hang", "/dev/" + name.strip(), "2", "dmsetup resume benchhang")
    bench.run("dmsetup", "resume", "benchhang")
    bench.equal("files: a hanging device runs out of time, on both engines", answer.get("results"), [134, 135, 134, 135])
    bench.check("files: and in time", all(2 <= took < 5 for took in answer.get("seconds", [0])), answer)
    bench.equal("files: what hung ends when the device is back", (answer.get("outstanding"), answer.get("freed"), answer.get("left")),
                (4, 0, 0))
    bench.equal("files: the caller's memory is neither written nor read after the time-out",
                (answer.get("untouched"), answer.get("landed")), (4096, [4096, 4096]))
    bench.run("dmsetup", "remove", "benchhang")


def run(bench):
    _, listing = bench.product("--list")
    for marker, checks in (("OSTRIABENCHNVME1", (read, ext4, replaced, ntfs)), ("0xdeadbeef", (card, read))):
        drive = bench.needed(marker, "files")
        index = drive and bench.index_of(drive, listing)
        if not bench.check(f"files: {marker} has a number", index is not None):
            continue
        for check in checks:
            check(bench, drive, index)
    drive = bench.needed("OBSCSI0001", "files")
    if drive:
        hanging(bench, drive)
