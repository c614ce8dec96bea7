"""Partition tables and volumes: what is shown, what is taken off line, and that everything comes back."""

import os
import shutil

MOUNT = "/mnt/bench"


def start_of(node):
    with open(f"/sys/class/block/{node.removeprefix('/dev/')}/start", encoding="ascii") as file:
        return int(file.read()) * 512


def gpt(bench, drive):
    bench.run("sgdisk", "--zap-all", "-n1:2048:+8M", "-t1:ef00", "-n2:0:+24M", "-t2:8300", "-n5:0:+4M", "-t5:a503", drive.node)
    bench.run("partprobe", drive.node)
    bench.run("mkfs.vfat", "-n", "BENCHESP", "-i", "1234ABCD", drive.node + "1")
    bench.run("mkfs.ext4", "-q", "-L", "benchroot", "-U", "deadbeef-0000-4000-8000-000000000001", drive.node + "2")
    bench.modprobe("ext4")
    os.makedirs(MOUNT, exist_ok=True)
    os.makedirs(MOUNT + "2", exist_ok=True)
    code, _ = bench.run("mount", "-o", "noatime", drive.node + "2", MOUNT)
    bench.equal("volumes: the bench mounts its file system", code, 0)
    bench.run("mount", drive.node + "2", MOUNT + "2")
    table = bench.probe("layout", drive.node, str(drive.bytes))
    parts = {part["number"]: part for part in table.get("partitions", [])}
    bench.equal("volumes: GPT schema and partitions", (table.get("schema"), sorted(parts)), ("GPT", [1, 2, 5]))
    bench.equal("volumes: GPT types as keys", [parts[i]["type"] for i in (1, 2, 5)],
                ["_E|F|I_SYSTEM_PARTITION", "_LINUX_FILE_SYSTEM_DATA", "_FREE|B|S|D_|UNIX_FILE_SYSTEM_PARTITION"])
    bench.equal("volumes: starts as the kernel has them", [parts[i]["start"] for i in (1, 2, 5)],
                [start_of(f"{drive.node}{i}") for i in (1, 2, 5)])
    bench.equal("volumes: label, serial and file system of FAT",
                (parts[1]["label"], parts[1]["serial"], parts[1]["fs"]), ("BENCHESP", "1234ABCD", "vfat"))
    usage = shutil.disk_usage(MOUNT)
    bench.equal("volumes: ext4 with its places and its space",
                (parts[2]["label"], parts[2]["serial"], parts[2]["mounts"], parts[2]["size"]),
                ("benchroot", "DEADBEEF", [MOUNT, MOUNT + "2"], usage.total))
    whole = drive.bytes - sum(part["size"] for part in parts.values())
    bench.equal("volumes: unallocated bytes", table["unallocated"], whole)


def off_line(bench, drive):
    def mounted():
        with open("/proc/mounts", encoding="utf-8") as file:
            return sorted(line.split()[1] + " " + line.split()[3] for line in file if line.startswith(drive.node + "2 "))

    before = mounted()
    probe = bench.probe("dismount", MOUNT, f"grep -q '^{drive.node}2 ' /proc/mounts || mount {drive.node}2 {MOUNT}")
    bench.equal("volumes: off line at all places", probe.get("dismount"), 0)
    bench.check("volumes: nobody can mount it meanwhile", probe.get("during") != 0, probe)
    bench.equal("volumes: back at all places, with its options", (probe.get("release"), mounted()), (0, before))

    with open(MOUNT + "/busy", "w", encoding="ascii") as file:
        file.write("in use")
        probe = bench.probe("dismount", MOUNT + "2", "true")
        bench.equal("volumes: a busy volume is refused", (probe.get("dismount"), "release" in probe), (16, False))
        bench.equal("volumes: and stays mounted as it was", mounted(), before)
    probe = bench.probe("dismount", "/", "true")
    bench.equal("volumes: the running system is refused", (probe.get("dismount"), os.access("/tmp", os.W_OK)), (16, True))
    bench.equal("volumes: a place with nothing mounted", bench.probe("dismount", "/no/such/place", "true").get("dismount"), 2)


def scratch(bench):
    before = sorted(os.listdir(MOUNT))
    free = shutil.disk_usage(MOUNT).free
    answer = bench.probe("scratch", MOUNT + "/scratch", str(16 << 20))
    bench.equal("volumes: a scratch file is written and read back",
                [answer.get(key) for key in ("create", "size", "write", "read", "same")], [0, 0, 0, 0, True])
    bench.run("sync")
    bench.equal("volumes: and is gone when the process dies", (sorted(os.listdir(MOUNT)), shutil.disk_usage(MOUNT).free),
                (before, free))


def mbr(bench, drive):
    bench.run("umount", MOUNT)
    bench.run("umount", MOUNT + "2")
    bench.run("sgdisk", "--zap-all", drive.node)
    bench.run("parted", "-s", "-a", "none", drive.node, "mklabel", "msdos", "mkpart", "primary", "ntfs", "2048s", "18431s",
              "mkpart", "extended", "20480s", "100%", "mkpart", "logical", "ext4", "22528s", "30719s",
              "mkpart", "logical", "ext4", "32768s", "40959s")
    table = bench.probe("layout", drive.node, str(drive.bytes))
    rows = [(part["type"], part["fs"]) for part in table.get("partitions", [])]
    bench.equal("volumes: MBR with logical partitions", (table.get("schema"), [row[0] for row in rows]),
                ("MBR", ["PRIMARY", "EXTENDED", "LOGICAL", "LOGICAL"]))
    bench.equal("volumes: MBR type texts", [rows[0][1], rows[2][1]], ["IFS, HPFS, NTFS, exFAT", "_NATIVE_LINUX"])


def whole_disk(bench, drive):
    bench.run("dd", "if=/dev/zero", "of=" + drive.node, "bs=1M", "count=2", "status=none")
    bench.run("partprobe", drive.node)
    table = bench.probe("layout", drive.node, str(drive.bytes))
    bench.equal("volumes: an empty disk", (table.get("schema"), table.get("partitions"), table.get("unallocated")),
                ("RAW", [], drive.bytes))
    bench.run("mkfs.ext4", "-q", "-F", "-L", "wholedisk", drive.node)
    bench.run("mount", drive.node, MOUNT)
    table = bench.probe("layout", drive.node, str(drive.bytes))
    rows = [(part["number"], part["label"], part["mounts"]) for part in table.get("partitions", [])]
    bench.equal("volumes: a file system on the whole disk is shown", rows, [(0, "wholedisk", [MOUNT])])
    bench.run("umount", MOUNT)


def run(bench):
    drive = bench.needed("OBSCSI0001", "volumes")
    if not drive:
        return
    gpt(bench, drive)
    off_line(bench, drive)
    scratch(bench)
    mbr(bench, drive)
    whole_disk(bench, drive)
