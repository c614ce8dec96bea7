"""What the scan sees before any protocol: numbers, buses, locations, and what it leaves out; what a list costs."""

import re
import shutil

ATA, SCSI, USB, RAID, UNKNOWN, EMMC, NVME = range(7)
OTHER, INTERNAL, EXTERNAL = 0, 1, 2


def run(bench):
    if not bench.modprobe("megaraid_sas"):
        bench.skip("scan: a RAID controller's volume", "this kernel has no megaraid_sas")
    bench.skip("scan: eMMC chip", "this qemu emulates SD cards only")
    found = {entry["paths"][0]: entry for entry in bench.probe("scan")}
    for marker, bus, connection in (
            ("OSTRIABENCH ATA", ATA, INTERNAL), ("OBSCSI0001", SCSI, INTERNAL), ("OBUSB00001", USB, EXTERNAL),
            ("OSTRIABENCHNVME1", NVME, INTERNAL), ("0xdeadbeef", EMMC, INTERNAL), ("OBVIRTIO01", UNKNOWN, OTHER),
            ("OBRAID0001", RAID, INTERNAL)):
        drive = bench.drive(marker)
        if drive is None:
            bench.skip(f"scan: {marker}", "the kernel shows no such drive")
            continue
        entry = found.get(drive.node, {})
        bench.equal(f"scan: {marker} has its bus, place and number",
                    (entry.get("bus"), entry.get("connection"), entry.get("number"), entry.get("id")),
                    (bus, connection, drive.number, str(drive.number)))
        bench.check(f"scan: {marker} tells its PCI place", len(entry.get("pci", [])) == 3, entry)
    bench.check("scan: no optical drive, no loop device", not any("sr" in p or "loop" in p for p in found), found)

    nvme = bench.needed("OSTRIABENCHNVME1", "scan")
    if nvme:
        entry = found[nvme.node]
        with open(f"/sys/class/nvme/{nvme.name.rsplit('n', 1)[0]}/address", encoding="ascii") as file:
            address = file.read().strip()
        bus, device, function = entry["pci"]
        bench.equal("scan: the NVMe drive's PCI function", f"0000:{bus:02x}:{device:02x}.{function}", address)
        service = bench.probe("service", str(bus), str(device), str(function))
        bench.equal("driver service: class of an NVMe controller", (service.get("class"), service.get("code")), (0, [1, 8, 2]))
        if service.get("registers"):
            version, status, beyond = service["registers"]
            bench.equal("driver service: version register", version, [0, 0x00010400])
            bench.equal("driver service: controller is ready and not fatal", (status[0], status[1] & 3), (0, 1))
            bench.equal("driver service: nothing beyond the register block", beyond, [1, 0])
    usb = found.get(getattr(bench.drive("OBUSB00001"), "node", ""), {})
    bench.equal("scan: the stick is no removable medium and has no NVMe port", (usb.get("removable"), usb.get("port")),
                (False, None))
    listing(bench)
    if shutil.which("strace") is not None:
        alone(bench)


def listing(bench):
    """A list looks at each disk once, and opens none for writing: udev reads the table of a disk anew when a writer closes it."""
    if shutil.which("strace") is None:
        bench.skip("list: its system calls", "this machine has no strace")
        return
    trace = "/run/list.trace"
    bench.run("strace", "-f", "-o", trace, bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "--help", timeout=120)
    with open(trace, encoding="utf-8", errors="replace") as file:
        start = sum(1 for _ in file)
    _, listed = bench.run("strace", "-f", "-o", trace, bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "--list", timeout=120)
    with open(trace, encoding="utf-8", errors="replace") as file:
        calls = file.readlines()
    drives = sum(1 for line in listed.splitlines() if re.match(r" *[0-9]+ ", line))
    writers = [call for call in calls if re.search(r'openat\(.*"/dev/(sd|nvme|mmcblk|vd).*O_(RDWR|WRONLY)', call)]
    bench.check("list: no disk is opened for writing", not writers, writers[:3])
    print("system calls of a list:", len(calls), "of which start-up about", start, "for", drives, "drives", flush=True)
    bench.check("list: fewer than 200 system calls for each drive", drives > 0 and len(calls) - start < 200 * drives,
                (len(calls), drives))


def opened(bench, *arguments):
    """Nodes of disks that a command opens."""
    trace = "/run/scan.trace"
    bench.run("strace", "-f", "-e", "trace=openat", "-o", trace, bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", *arguments)
    with open(trace, encoding="utf-8") as file:
        return set(re.findall(r'"(/dev/(?:sd[a-z]+|nvme\d+n\d+|mmcblk\d+))"', file.read()))


def alone(bench):
    """A command for one drive opens none behind it in the list, and says what a look at all of them says."""
    _, listing = bench.product("--list")
    devices = listing.get("devices", [])
    for device in (devices[0], devices[len(devices) // 2]):
        index = device["index"]
        # Of two with one serial number each has a part in the other's identifier: the look goes on to the second. What a
        # RAID controller shows of its drives is looked at in the order of the kernel's numbers.
        last = index
        for one in devices:
            if one["serial"] in {other["serial"] for other in devices[:last + 1]}:
                last = max(last, one["index"])
        behind = {one["device_node"] for one in devices[last + 1:] if one["connection"] != "raid"}
        for name in (str(index), device["device_node"]):
            seen = opened(bench, "smart", name)
            bench.check(f"scan: smart {name} opens no drive behind it",
                        device["device_node"] in seen and behind and not seen & behind, (sorted(seen), behind))
            _, document = bench.product("smart", name)
            found = [[one[key] for key in ("index", "id", "name", "serial", "udi")] for one in document.get("devices", [])]
            bench.equal(f"scan: smart {name} means the drive of the list", found,
                        [[device[key] for key in ("index", "id", "name", "serial", "udi")]])
    serial = next((device["serial"] for device in devices if device["serial"]), "")
    bench.equal("scan: a serial number is looked for among all", opened(bench, "smart", serial), opened(bench, "--list"))
