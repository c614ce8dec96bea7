"""NVMe controllers of several namespaces, claimed registers, and a SCSI disk that checks what it is sent."""

import os
import subprocess
import time

MIB = 1 << 20
# Serial number of the controller, then namespace and size of each of its disks.
CONTROLLERS = (("OSTRIABENCHNVME2", ((1, 128 * MIB), (2, 64 * MIB))), ("OSTRIABENCHNVME3", ((5, 96 * MIB),)))


def disks_of(bench, serial):
    """The nodes of a controller of the bench, by namespace."""
    listing = bench.json("lsblk", "-J", "-b", "-d", "-o", "NAME,SERIAL,SIZE,MAJ:MIN").get("blockdevices", [])
    found = {}
    for entry in listing:
        if (entry.get("serial") or "").strip() == serial:
            with open(f"/sys/block/{entry['name']}/nsid", encoding="ascii") as file:
                found[int(file.read())] = entry
    return found


def namespaces(bench):
    _, listing = bench.product("--list")
    by_id = {device["id"]: device for device in listing.get("devices", [])}
    for serial, wanted in CONTROLLERS:
        found = disks_of(bench, serial)
        bench.equal(f"protocols: {serial} has its namespaces", {n: e["size"] for n, e in found.items()}, dict(wanted))
        for number, size in wanted:
            entry = found.get(number)
            if entry is None:
                continue
            major, minor = (int(part) for part in entry["maj:min"].split(":"))
            device = by_id.get(str(minor & 0xFF | major << 8 | (minor & ~0xFF) << 12))
            name = f"protocols: namespace {number} of {serial}"
            if not bench.check(f"{name} is listed", device is not None, listing):
                continue
            bench.equal(f"{name} has its own size", device["size_bytes"], size)
            code, document = bench.product("-En", str(device["index"]), timeout=240)
            bench.equal(f"{name} is read whole", (code, [run["result"] for run in document.get("test_runs", [])]), (0, [0]))


def claimed_registers(bench):
    """A kernel that keeps the registers of its drivers to itself leaves nothing to judge by."""
    with open("/proc/cmdline", encoding="ascii") as file:
        relaxed = "iomem=relaxed" in file.read()
    drive = bench.needed("OSTRIABENCHNVME1", "protocols")
    index = drive and bench.index_of(drive)
    if index is None:
        return
    code, document = bench.product("-Qg", index)
    results = [run["result"] for run in document.get("test_runs", [])]
    bench.equal("protocols: the controller test with " + ("open" if relaxed else "claimed") + " registers",
                (code, results), (0, [0]) if relaxed else (3, [3]))


def controller_state(bench):
    """What the kernel says of a controller is in the verdict of its drive."""
    drive = bench.needed("OSTRIABENCHNVME3", "protocols")
    folder = drive and f"/sys/block/{drive.name}/device"
    if not drive or not bench.check("protocols: the kernel has a state of the controller", os.path.exists(folder + "/state")):
        return

    def health():
        _, listing = bench.product("--list", timeout=240)
        devices = [device for device in listing.get("devices", []) if device["id"] == str(drive.number)]
        return devices[0]["health"] if devices else {}

    bench.equal("protocols: a controller that is live is no reason for a warning", health().get("verdict"), "good")
    # The kernel waits inside the write until the reset is over; what is sent to the drive meanwhile waits, too.
    again = f"while sleep 0.03; do echo 1 > {folder}/reset_controller; done"
    found = {}
    with subprocess.Popen(("sh", "-c", again)) as resets:
        for _ in range(40):  # the state is looked at for a moment only
            found = health()
            if "resetting" in str(found) or "connecting" in str(found):
                break
        resets.kill()
    # What is asked meanwhile may come back without an answer, which is worse than a warning.
    bench.check("protocols: a controller that is being reset makes its drive one to watch",
                found.get("verdict") in ("watch", "not_answering")
                and [reason["verdict"] for reason in found["reasons"] if reason["key"] == "health.controller_state"] == ["watch"], found)
    time.sleep(2)
    bench.equal("protocols: and no longer when the reset is over", health().get("verdict"), "good")
    # This kernel takes a controller that it has given up out of the machine at once, so the word for it is put there.
    with open("/run/bench-state", "w", encoding="ascii") as file:
        file.write("dead\n")
    state = os.path.realpath(folder + "/state")
    bench.run("mount", "--bind", "/run/bench-state", state)
    found = health()
    bench.check("protocols: a controller that is dead is a drive that does not answer", found.get("verdict") == "not_answering",
                found)
    bench.run("umount", state)
    with open(os.path.realpath(folder) + "/device/remove", "w", encoding="ascii") as file:
        file.write("1")
    bench.equal("protocols: a drive whose controller was removed is not listed", health(), {})
    bench.run("sh", "-c", "echo 1 > /sys/bus/pci/rescan")
    for _ in range(50):
        if bench.drive("OSTRIABENCHNVME3"):
            break
        time.sleep(0.2)
    bench.check("protocols: and comes back", bench.drive("OSTRIABENCHNVME3") is not None)


def mode_page(drive):
    done = subprocess.run(("sg_modes", "--raw", "--page=0x1c", "--six", drive.node), stdout=subprocess.PIPE, check=False)
    return done.stdout.hex()


def strict_disk(bench):
    """The kernel's own disk refuses a MODE SELECT with reserved fields set."""
    if not os.path.exists("/sys/bus/pseudo/drivers/scsi_debug") and not bench.modprobe("scsi_debug", "dev_size_mb=8"):
        bench.skip("protocols: MODE SELECT", "this kernel has no scsi_debug")
        return
    drive = bench.needed("scsi_debug", "protocols")
    index = drive and bench.index_of(drive)
    if not bench.check("protocols: the strict disk has a number", index is not None):
        return
    before = mode_page(drive)
    code, document = bench.product("-Qm", index)
    bench.equal("protocols: SMART is enabled on a disk that checks reserved fields",
                (code, [run["result"] for run in document.get("test_runs", [])]), (0, [0]))
    bench.check("protocols: and the mode page is as it was", before and mode_page(drive) == before, (before, mode_page(drive)))
    bench.run("modprobe", "-r", "scsi_debug")


def run(bench):
    namespaces(bench)
    claimed_registers(bench)
    strict_disk(bench)
    controller_state(bench)
