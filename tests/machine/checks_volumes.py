"""Partition tables and volumes: what is shown, what is taken off line, and that everything comes back."""

import os
import shutil

MOUNT = "/mnt/bench"


def start_of(node):
    with open(f"/sys/class/block/{node.removeprefix('/dev/')}/start", encoding="ascii") as file:
        return int(file.read()) * 512


def shown_serial(uuid):
    """The serial number as the file system's own system shows it: the lower half of NTFS's, else the start."""
    digits = uuid.replace("-", "").upper()
    return digits[8:] if len(digits) == 16 else digits[:8]


def tell_the_same(bench, drive, name, table):
    """Every partition as parted, blkid, lsblk and df have it."""
    _, text = bench.run("parted", "-m", "-s", drive.node, "unit", "B", "print")
    places = {fields[0]: [int(field.rstrip("B")) for field in fields[1:4]]
              for fields in (line.split(":") for line in text.splitlines()) if fields[0].isdigit()}
    listing = bench.json("lsblk", "-J", "-b", "-o", "NAME,SIZE,MOUNTPOINTS", drive.node)
    nodes = {"/dev/" + child["name"]: child for child in listing["blockdevices"][0].get("children", [])}
    left = drive.bytes
    for part in table["partitions"]:
        node = drive.node + str(part["number"])
        start, _, size = places.pop(str(part["number"]))
        used = free = 0
        _, text = bench.run("blkid", "-p", "-o", "export", node)
        values = dict(line.replace("\\ ", " ").split("=", 1) for line in text.splitlines() if "=" in line)
        mounts = sorted(place for place in nodes[node]["mountpoints"] if place)
        if part["type"] != "EXTENDED":
            bench.equal(f"volumes: {name} {part['number']}: lsblk and parted agree", nodes[node]["size"], size)
        if mounts:
            _, text = bench.run("df", "-B1", "--output=size,used", mounts[0])
            size, used = (int(field) for field in text.splitlines()[1].split())
            free = size - used
        volume = "TYPE" in values
        wanted = {"start": start, "size": size, "used": used, "free": free, "mounts": mounts,
                  "label": values.get("LABEL", "") if volume else "", "serial": shown_serial(values["UUID"]) if volume else "",
                  "cluster": os.statvfs(mounts[0]).f_bsize if mounts and values.get("TYPE") == "ntfs" else 0}
        if table["schema"] == "GPT":
            wanted["fs"] = values.get("TYPE", "")
        got = {key: sorted(part[key]) if key == "mounts" else part[key] for key in wanted}
        bench.equal(f"volumes: {name} {part['number']} ({part['type']} {values.get('TYPE')}) as blkid, lsblk and df have it", got,
                    wanted)
        left -= 0 if part["type"] == "EXTENDED" else size
    bench.equal(f"volumes: {name}: nothing is missing, and the rest is unallocated", (places, table["unallocated"]), ({}, left))


def mount(bench, node, place, *options):
    os.makedirs(place, exist_ok=True)
    code, _ = bench.run("mount", *options, node, place)
    bench.equal(f"volumes: the bench mounts {node}", code, 0)


def drivers(bench):
    return all([bench.modprobe(module) for module in ("ext4", "fuse", "vfat", "nls_cp437", "nls_ascii")])


def gpt(bench, drive):
    bench.run("sgdisk", "--zap-all", "-n1:2048:+8M", "-t1:ef00", "-n2:0:+24M", "-t2:8300", "-n3:0:+16M", "-t3:0700", "-n5:0:+4M",
              "-t5:a503", drive.node)
    bench.run("partprobe", drive.node)
    bench.run("mkfs.vfat", "-n", "BENCHESP", "-i", "1234ABCD", drive.node + "1")
    bench.run("mkfs.ext4", "-q", "-L", "benchroot", "-U", "deadbeef-0000-4000-8000-000000000001", drive.node + "2")
    bench.run("mkfs.ntfs", "-q", "-Q", "-F", "-L", "Bench data", drive.node + "3")
    bench.check("volumes: the kernel has the drivers", drivers(bench))
    mount(bench, drive.node + "1", MOUNT + "1")
    mount(bench, drive.node + "2", MOUNT, "-o", "noatime")
    mount(bench, drive.node + "2", MOUNT + "2")
    mount(bench, drive.node + "3", MOUNT + "3", "-t", "ntfs-3g")
    table = bench.probe("layout", drive.node, str(drive.bytes))
    parts = {part["number"]: part for part in table.get("partitions", [])}
    bench.equal("volumes: GPT schema and partitions", (table.get("schema"), sorted(parts)), ("GPT", [1, 2, 3, 5]))
    bench.equal("volumes: GPT types as keys", [parts[i]["type"] for i in (1, 2, 3, 5)],
                ["_E|F|I_SYSTEM_PARTITION", "_LINUX_FILE_SYSTEM_DATA", "_WINDOWS_BASIC_DATA_PARTITION",
                 "_FREE|B|S|D_|UNIX_FILE_SYSTEM_PARTITION"])
    tell_the_same(bench, drive, "GPT", table)
    bench.equal("volumes: starts as the kernel has them", [parts[i]["start"] for i in (1, 2, 5)],
                [start_of(f"{drive.node}{i}") for i in (1, 2, 5)])
    bench.equal("volumes: label, serial and file system of FAT",
                (parts[1]["label"], parts[1]["serial"], parts[1]["fs"]), ("BENCHESP", "1234ABCD", "vfat"))
    usage = shutil.disk_usage(MOUNT)
    bench.equal("volumes: ext4 with its places and its space",
                (parts[2]["label"], parts[2]["serial"], parts[2]["mounts"], parts[2]["size"]),
                ("benchroot", "DEADBEEF", [MOUNT, MOUNT + "2"], usage.total))
    bench.run("umount", MOUNT + "1")
    bench.run("umount", MOUNT + "3")


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
              "mkpart", "logical", "fat32", "32768s", "65535s")
    bench.run("partprobe", drive.node)
    bench.run("mkfs.ntfs", "-q", "-Q", "-F", "-L", "First", drive.node + "1")
    bench.run("mkfs.ext4", "-q", "-F", "-L", "inner", drive.node + "5")
    bench.run("mkfs.vfat", "-n", "INNERFAT", drive.node + "6")
    for number, options in (("1", ("-t", "ntfs-3g")), ("5", ()), ("6", ())):
        mount(bench, drive.node + number, MOUNT + number, *options)
    table = bench.probe("layout", drive.node, str(drive.bytes))
    rows = [(part["type"], part["fs"]) for part in table.get("partitions", [])]
    bench.equal("volumes: MBR with logical partitions", (table.get("schema"), [row[0] for row in rows]),
                ("MBR", ["PRIMARY", "EXTENDED", "LOGICAL", "LOGICAL"]))
    bench.equal("volumes: MBR type texts", [rows[i][1] for i in (0, 2, 3)], ["IFS, HPFS, NTFS, exFAT", "_NATIVE_LINUX", "FAT32X"])
    tell_the_same(bench, drive, "MBR", table)
    for number in "156":
        bench.run("umount", MOUNT + number)


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


def mapped(bench, drive):
    """Volumes above a partition, on it alone and with a piece on another drive."""
    other = bench.needed("OSTRIABENCH ATA", "volumes")
    if not other or not bench.modprobe("dm_mod"):
        bench.skip("volumes: volumes above a partition", "no second drive, or no device mapper")
        return
    os.environ["DM_DISABLE_UDEV"] = "1"
    bench.run("sgdisk", "--zap-all", "-n1:2048:+32M", drive.node)
    bench.run("partprobe", drive.node)
    size = 32 << 20
    alone = f"0 {size // 512} linear {drive.node}1 0"
    for name, lines in (("alone", alone), ("with another", f"{alone}\n{size // 512} 8192 linear {other.node} 0")):
        bench.run("dmsetup", "create", "benchmap", "--table", lines)
        _, mapper = bench.run("dmsetup", "info", "-c", "--noheadings", "-o", "blkdevname", "benchmap")
        node = "/dev/" + mapper.strip()
        bench.run("mkfs.ext4", "-q", "-F", node)
        mount(bench, node, MOUNT)
        table = bench.probe("layout", drive.node, str(drive.bytes))
        part = table["partitions"][0]
        usage = shutil.disk_usage(MOUNT)
        free = os.statvfs(MOUNT).f_bfree * os.statvfs(MOUNT).f_frsize if name == "alone" else 0
        bench.equal(f"volumes: a volume above a partition, {name}", (part["mounts"], part["size"], part["free"], part["used"]),
                    ([MOUNT], size, free, size - free))
        bench.check("volumes: the volume itself has free space", usage.free > 0, usage)
        bench.run("umount", MOUNT)
        bench.run("dmsetup", "remove", "benchmap")
    bench.run("dd", "if=/dev/zero", "of=" + other.node, "bs=1M", "count=4", "status=none")


def run(bench):
    drive = bench.needed("OBSCSI0001", "volumes")
    if not drive:
        return
    gpt(bench, drive)
    off_line(bench, drive)
    scratch(bench)
    mbr(bench, drive)
    whole_disk(bench, drive)
    mapped(bench, drive)
