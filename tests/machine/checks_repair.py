"""Repairs beside everything that can use a disk: whoever stays is named and nothing is written, whoever can leave is taken
off line and comes back as it was."""

import contextlib
import fcntl
import json
import os
import re
import shutil
import subprocess
import time

from checks_medium import COUNT, FIRST, setting
from checks_pull import document_of, end, start

MOUNT = "/mnt/repair"
# At once: what the kernel would write later looks as if a repair had written it.
EXT4 = "mkfs.ext4 -q -F -E lazy_itable_init=0,lazy_journal_init=0"
FORCED = ("--force-mounted", "--assume-write")
REFUSED = "Unable to unmount all partitions of the device"


def content(drive):
    """What lies in the bad sectors, read while they are good."""
    setting("opts", 0)
    descriptor = os.open(drive.node, os.O_RDONLY)
    os.posix_fadvise(descriptor, 0, 0, os.POSIX_FADV_DONTNEED)
    data = os.pread(descriptor, COUNT * 512, FIRST * 512)
    os.close(descriptor)
    setting("opts", 2)
    return data


def repair(bench, drive, *options):
    """Exit code, status, note, and whether anything was written."""
    before = content(drive)
    code, document = bench.product("recover", "repair", bench.own_name_of(drive), "--assume", "yes", *options)
    run = (document.get("tool_runs") or [{}])[0]
    note = run.get("note", "")
    print(code, run.get("status"), note, flush=True)
    return code, run.get("status"), note if isinstance(note, str) else str(note), content(drive) != before


def mounts():
    with open("/proc/mounts", encoding="utf-8") as file:
        return {fields[1]: (fields[0], fields[2], fields[3]) for fields in (line.split() for line in file)}


def shell(bench, command):
    code, _ = bench.run("sh", "-c", command)
    return code == 0


@contextlib.contextmanager
def holder(bench, up, down):
    ready = all(shell(bench, command) for command in up)
    try:
        yield ready
    finally:
        for command in down:
            shell(bench, command)


def refused(bench, drive, other):
    """Everything that stays: the repair says who, and leaves the sectors alone."""
    one, two = drive.node + "1", drive.node + "2"
    lvm = "DM_DISABLE_UDEV=1 lvm "
    rows = [
        ("swap", "swap on " + one, [f"mkswap {one}", f"swapon {one}"], [f"swapoff {one}"]),
        ("LVM", "benchvg-lv", ["modprobe dm_mod", f"{lvm}pvcreate -ffy {one}", f"{lvm}vgcreate benchvg {one}",
                               f"{lvm}lvcreate -y -Zn -Wn -n lv -L 8M benchvg", f"{EXT4} /dev/mapper/benchvg-lv",
                               f"mount /dev/mapper/benchvg-lv {MOUNT}"],
         [f"umount {MOUNT}", f"{lvm}vgremove -ffy benchvg", f"wipefs -aq {one}"]),
        ("md", "md127", ["modprobe raid1", f"mdadm --create /dev/md127 --run --force --level=1 --raid-devices=2 {one} missing"],
         ["mdadm --stop /dev/md127", f"mdadm --zero-superblock {one}"]),
        # A mapping of an encrypted volume without its header, which the kernel never sees.
        ("a btrfs on an encrypted partition", "bench-luks",
         ["modprobe -a dm_crypt xts ecb btrfs",
          f"DM_DISABLE_UDEV=1 dmsetup create bench-luks --uuid CRYPT-LUKS2-bench-luks --table "
          f"'0 '$(blockdev --getsz {one})' crypt aes-xts-plain64 {'5a' * 64} 0 {one} 0'",
          "mkfs.btrfs -q -f /dev/mapper/bench-luks", f"mount /dev/mapper/bench-luks {MOUNT}"],
         [f"umount {MOUNT}", "DM_DISABLE_UDEV=1 dmsetup remove bench-luks"]),
        ("a file system on a partition of an array", "md127",
         ["modprobe raid1", f"mdadm --create /dev/md127 --run --force --level=1 --raid-devices=2 {one} missing",
          "sgdisk -n1:2048:+64M /dev/md127", "partprobe /dev/md127", f"{EXT4} /dev/md127p1",
          f"mount /dev/md127p1 {MOUNT}"],
         [f"umount {MOUNT}", "sgdisk --zap-all /dev/md127", "mdadm --stop /dev/md127", f"mdadm --zero-superblock {one}"]),
        ("a file that is open on a volume", MOUNT, [f"{EXT4} {one}", f"mount {one} {MOUNT}",
                                                    f"sleep 1000 < {MOUNT}/lost+found > /dev/null 2>&1 & echo $! > /run/bench-sleeper"],
         ["kill $(cat /run/bench-sleeper)", "sleep 0.3", f"umount {MOUNT}"]),
        ("a mount in another namespace", two + " is in use",
         [f"{EXT4} {two}", f"mkdir -p {MOUNT}2",
          f"unshare -m sh -c 'mount {two} {MOUNT}2 && exec sleep 1000' > /dev/null 2>&1 & echo $! > /run/bench-sleeper; sleep 1"],
         ["kill $(cat /run/bench-sleeper)", "sleep 0.5"]),
        ("write protection of the disk", "write protected", [f"blockdev --setro {drive.node}"], [f"blockdev --setrw {drive.node}"]),
        ("write protection of a partition", two + " is write protected", [f"blockdev --setro {two}"], [f"blockdev --setrw {two}"]),
        ("a loop device", "/dev/loop", ["modprobe loop", f"losetup -f {two}"], ["losetup -D"]),
    ]
    for name, user, up, down in rows:
        with holder(bench, up, down) as ready:
            if not bench.check(f"repair: the bench can set up {name}", ready):
                continue
            before = mounts()
            code, status, note, written = repair(bench, drive)
            # Who holds a mounted volume the program finds itself, and does not begin.
            held = name == "a file that is open on a volume"
            bench.equal(f"repair: beside {name} it is refused", (code, status, written), (6, None if held else 6, False))
            bench.check(f"repair: beside {name} the user is named",
                        user in note and ("sleep" if held else REFUSED) in note, note)
            bench.equal(f"repair: beside {name} all mounts are as before", mounts(), before)
            # Forcing is for volumes of this namespace that stay mounted, and for nothing else.
            code, status, note, _ = repair(bench, drive, *FORCED, drive.serial)
            wanted = (1, 10) if held else (6, 6)
            bench.equal(f"repair: forced beside {name}", (code, status), wanted)
            bench.check(f"repair: forced beside {name} the user is named", REFUSED in note and user in note, note)
    for name, flags, lock, user in (("a claim of another program", os.O_EXCL, None, one + " is in use"),
                                    ("a lock of another repair", 0, fcntl.LOCK_EX, "locked by another program")):
        descriptor = os.open(one if lock is None else drive.node, os.O_RDONLY | flags)
        if lock is not None:
            fcntl.flock(descriptor, lock)
        code, status, note, written = repair(bench, drive)
        bench.equal(f"repair: beside {name} it is refused", (code, status, written, user in note), (6, 6, False, True))
        bench.equal(f"repair: beside {name} forcing changes nothing", repair(bench, drive, *FORCED, drive.serial)[:2], (6, 6))
        os.close(descriptor)
    del other


def comes_back(bench, drive, other):
    """Everything that can leave: off line meanwhile, and back with the same options at the same directories."""
    one, two = drive.node + "1", drive.node + "2"
    rows = [
        ("volumes inside one another", [f"mkfs.ext4 -q -F {one}", f"mkfs.vfat {two}", f"mount -o noatime,nosuid {one} {MOUNT}",
                                        f"mkdir {MOUNT}/in", f"mount -o uid=1000,umask=077 {two} {MOUNT}/in"],
         [f"umount {MOUNT}/in", f"umount {MOUNT}"]),
        ("a btrfs whose mount names another drive", ["modprobe btrfs", f"mkfs.btrfs -q -f -m raid1 -d single {other.node} {two}",
                                                     "btrfs device scan", f"mount {other.node} {MOUNT}"],
         [f"umount {MOUNT}", f"wipefs -aq {two} {other.node}"]),
        ("an NTFS of the driver in user space", ["modprobe fuse", f"mkfs.ntfs -q -Q -F {one}",
                                                 f"mount -t ntfs-3g -o uid=1000,umask=077 {one} {MOUNT}"], [f"umount {MOUNT}"]),
    ]
    for name, up, down in rows:
        with holder(bench, up, down) as ready:
            if not bench.check(f"repair: the bench can set up {name}", ready):
                continue
            before = {place: (entry, os.stat(place).st_mode, os.stat(place).st_uid) for place, entry in mounts().items()
                      if place.startswith(MOUNT)}
            _, status, note, _ = repair(bench, drive)
            bench.check(f"repair: {name} goes off line", status in (9, 10) and REFUSED not in note, (status, note))
            after = {place: (entry, os.stat(place).st_mode, os.stat(place).st_uid) for place, entry in mounts().items()
                     if place.startswith(MOUNT)}
            bench.equal(f"repair: {name} comes back as it was", after, before)


def swapped(bench, drive):
    """The owner of a mount point's parent puts a link there, or takes the directory away, while the volume is off line."""
    one = drive.node + "1"
    home, victim = "/run/bench-home", "/run/bench-victim"
    shell(bench, f"mkfs.ext4 -q -F {one}; mkdir -p {home} {victim}; chown 1000 {home}")
    for name, act in (("a link", lambda stick: (os.rmdir(stick), os.symlink(victim, stick))),
                      ("nothing", os.rmdir), ("another directory", lambda stick: (os.rename(stick, stick + ".old"), os.mkdir(stick)))):
        stick = home + "/stick"
        shell(bench, f"rm -rf {stick} {stick}.old; mkdir {stick}; chown 1000 {stick}; mount {one} {stick}")
        command = (bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "recover", "repair", bench.own_name_of(drive), "--assume", "yes",
                   "--json")
        setting("delay", 20)
        with subprocess.Popen(command, stdout=subprocess.PIPE, text=True) as process:
            acted = False
            while not acted and process.poll() is None:
                if stick not in mounts():
                    act(stick)
                    acted = True
                time.sleep(0.005)
            text, _ = process.communicate(timeout=200)
        setting("delay", 1)
        bench.check(f"repair: {name} where the volume was: the bench was in time", acted)
        print(text, flush=True)
        bench.check(f"repair: {name} where the volume was: it is mounted nowhere", not any(
            entry[0] == one for entry in mounts().values()), mounts())
        bench.check(f"repair: {name} where the volume was: that is said", "could not be mounted again" in text and stick in text
                    and process.returncode != 0, (process.returncode, text))
        for place, entry in mounts().items():
            if entry[0] == one:
                bench.run("umount", place)
    shutil.rmtree(home, ignore_errors=True)


def checks(bench, drive):
    """A check of file systems never writes to what is mounted elsewhere."""
    two = drive.node + "2"
    setting("opts", 0)
    up = [f"mkfs.vfat {two}", f"mkdir -p {MOUNT}2", f"mount {two} {MOUNT}",
          "unshare -m --propagation private sh -c 'exec sleep 1000' > /dev/null 2>&1 & echo $! > /run/bench-sleeper; sleep 1"]
    with holder(bench, up, ["kill $(cat /run/bench-sleeper)", "sleep 0.5", f"umount {MOUNT}"]) as ready:
        bench.check("repair: the bench can mount in two namespaces", ready)
        code, document = bench.product("recover", "filesystem", bench.own_name_of(drive), "--assume", "yes")
        parts = (document.get("tool_runs") or [{}])[0].get("partitions", [])
        reports = [(part["status"], part["report"]) for part in parts]
        bench.check("repair: a FAT that another namespace has mounted is not checked",
                    code == 6 and [entry for entry in reports if not entry[1].startswith(drive.node + "1:")]
                    == [(6, "The volume is in use.\n")], (code, reports))
        bench.check("repair: and it is mounted again", MOUNT in mounts(), mounts())


def gap(bench):
    """A sector that a disk refuses to read for a reason of its own is no bad one, and its scan is neither a pass nor the
    scan of a lost drive."""
    drive = bench.needed("OBSCSIGAP1", "repair")
    code, document = bench.product("recover", "scan", drive.node)
    run = (document.get("tool_runs") or [{}])[0]
    sectors = run.get("sectors", {})
    print(code, run.get("status"), run.get("note"), flush=True)
    bench.equal("repair: a scan with a gap ends as one",
                (code, run.get("status"), run.get("lost"), sectors.get("scanned_sectors"), sectors.get("bad_sectors")),
                (6, 8, False, drive.bytes // 512 - 1, 0))
    bench.check("repair: and says how much it stepped over", re.search(r"\b1\b", run.get("note") or ""), run)
    for test in ("-El(COVERAGE_AREA=100)", "-En"):
        code, document = bench.product(test, drive.node)
        run = (document.get("test_runs") or [{}])[0]
        bench.equal(f"repair: {test} ends there, and the drive is not lost", (code, run.get("outcome"), run.get("lost")),
                    (6, "could_not_start", False))


def faults(bench, drive):
    """A link that fails in the middle of a scan gives no bad sectors, and is never nothing found. From the first command on it
    would be a drive that does not answer; one command of some is repeated by the kernel."""
    command = (bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "recover", "scan", bench.index_of(drive), "--json")
    setting("opts", 0)
    setting("delay", 100)
    with subprocess.Popen(command, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True) as process:
        for line in process.stderr:
            if "started" in line:
                break
        time.sleep(2)
        setting("opts", 16)
        setting("every_nth", 1)
        text, _ = process.communicate(timeout=300)
    setting("every_nth", 0)
    setting("opts", 0)
    setting("delay", 1)
    run = (json.loads(text).get("tool_runs") or [{}])[0]
    # Whether the disk answered when it was asked for decides which.
    bench.check("repair: transport errors are never nothing found",
                (process.returncode, run.get("lost")) in ((1, True), (6, False)) and run.get("status") in (6, 8),
                (process.returncode, run))
    bench.equal("repair: nor bad sectors", run.get("sectors", {}).get("bad_sectors"), 0)


def shown(bench, drive):
    """A disk that never ends a read is shown, with all others, and the showing ends."""
    wanted = {device["id"] for device in bench.product("--list")[1].get("devices", [])}
    setting("every_nth", 3)
    setting("opts", 128)
    started = time.monotonic()
    process = start(bench, "--show")
    devices = {device["id"]: device for device in document_of(process, 150).get("devices", [])}
    took = time.monotonic() - started
    setting("opts", 0)
    setting("every_nth", 0)
    end(process)
    bench.check("repair: a disk whose reads do not end is shown in time, and all others, too",
                str(drive.number) in devices and set(devices) == wanted, (set(devices), wanted, took))
    bench.equal("repair: and as not answering", devices.get(str(drive.number), {}).get("health", {}).get("verdict"), "not_answering")
    print("showing took", took, process.returncode, flush=True)


def run(bench):
    for module in ("ext4", "vfat", "nls_cp437", "nls_ascii"):
        bench.modprobe(module)
    bench.run("rmmod", "scsi_debug")
    if not bench.modprobe("scsi_debug", "dev_size_mb=300", "opts=2", f"medium_error_start={FIRST}", f"medium_error_count={COUNT}"):
        bench.skip("repair: beside users of a disk", "this kernel has no scsi_debug")
        return
    drive = bench.needed("scsi_debug", "repair")
    other = bench.needed("OSTRIABENCHNVME3", "repair")
    if not drive or not other:
        return
    setting("opts", 0)
    os.makedirs(MOUNT, exist_ok=True)
    bench.run("sgdisk", "--zap-all", "-n1:2048:+128M", "-n2:0:+128M", drive.node)
    bench.run("partprobe", drive.node)
    bench.run("dd", "if=/dev/zero", "of=" + other.node, "bs=1M", "count=4", "status=none")
    setting("opts", 2)
    refused(bench, drive, other)
    comes_back(bench, drive, other)
    swapped(bench, drive)
    checks(bench, drive)
    faults(bench, drive)
    gap(bench)
    shown(bench, drive)
