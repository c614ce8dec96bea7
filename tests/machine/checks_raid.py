"""Drives behind controllers of the megaraid_sas driver: as smartctl reads them, and when they fail."""

import os
import time

from checks_pull import begun, end, put, start

NODE = "/dev/megaraid_sas_ioctl_node"
# Serial number, and whether the kernel shows the drive itself and not a volume made of it.
DRIVES = (("OBRAID0001", False), ("OBRAID0003", True), ("OBRAID0004", False), ("OBRAID0005", False))
SAYS_SATA = "OBRAID0004"


def members(bench):
    _, listing = bench.product("--list")
    listed = [device for device in listing.get("devices", []) if device["serial"].startswith("OBRAID")]
    bench.check("raid: no drive is listed twice", len({device["serial"] for device in listed}) == len(listed), listed)
    return listing, {device["serial"]: device for device in listed}


def identity(bench, listing, found):
    bench.equal("raid: the drives that frames can address are listed", sorted(found), [serial for serial, _ in DRIVES])
    volumes = []
    for serial, shown in DRIVES:
        device = found.get(serial)
        if device is None:
            continue
        host, number = device["id"].split(":")
        peer = bench.json("smartctl", "-j", "-i", "-d", f"megaraid,{number}", f"/dev/bus/{host}")
        theirs = {"model": peer.get("scsi_product"), "serial": peer.get("serial_number"), "firmware": peer.get("scsi_revision"),
                  "size_bytes": peer.get("user_capacity", {}).get("bytes"),
                  "logical_sector_bytes": peer.get("logical_block_size")}
        if serial == SAYS_SATA:  # of which smartctl shows neither product nor revision
            del theirs["model"], theirs["firmware"]
        bench.equal(f"raid: {serial} is what smartctl reads", {key: device[key] for key in theirs}, theirs)
        node = bench.needed(serial, "raid")
        if shown:
            bench.equal(f"raid: {serial} has the node that the kernel gives it", device.get("device_node"), node and node.node)
        elif node:
            volumes.append(node.name)
            bench.check(f"raid: {serial} has no node: its volume is not it", not device.get("device_node"), device)
    notices = " ".join(listing.get("notices", []))
    bench.check("raid: volumes are reported as such", all(name in notices for name in volumes), (volumes, notices))
    for name in volumes[:1]:
        code, document = bench.product("-Qs", "/dev/" + name)
        bench.check("raid: a volume is not tested", code == 2 and "volume" in str(document.get("error")), document)


def reading(bench, found):
    for serial, wanted in (("OBRAID0001", (0, [0])), ("OBRAID0003", (0, [0])), ("OBRAID0004", (1, [1]))):
        index = str(found[serial]["index"])
        code, document = bench.product("-En", index, timeout=300)
        runs = document.get("test_runs", [])
        bench.equal(f"raid: {serial} is read whole through its controller", (code, [run["result"] for run in runs]), wanted)
        if serial == SAYS_SATA:
            ranges = runs[0].get("bad_ranges") or [] if runs else []
            bench.check("raid: the sector that cannot be read is in the one block that is named, and the drive is there",
                        len(ranges) == 1 and ranges[0]["first_sector"] <= 50000 <= ranges[0]["last_sector"]
                        and not runs[0]["lost"], runs)
    code, document = bench.product("--show", str(found["OBRAID0001"]["index"]))
    bench.check("raid: a drive is shown in full", code == 0 and len(document["devices"][0]["properties"]) > 5, document)


def own_node(bench):
    """Nobody made the node: the program has its own for as long as it needs it, and leaves none behind."""
    if os.path.exists(NODE):  # smartctl makes it
        os.unlink(NODE)
    _, found = members(bench)
    bench.equal("raid: without the driver's node", sorted(found), [serial for serial, _ in DRIVES])
    bench.equal("raid: and no node is left behind", [n for n in os.listdir("/dev") if "ostria" in n or "megaraid" in n], [])
    # A node of another driver under that name is left alone.
    os.mknod(NODE, 0o20600, os.makedev(1, 3))
    _, found = members(bench)
    bench.equal("raid: with a node of another driver", len(found), len(DRIVES))
    os.unlink(NODE)


def refusal(bench):
    code, document = bench.json_as("nobody", bench.bin + "/OstriaDiagnosticsCLI", "-Mstorage", "--list", "--json")
    listed = [device for device in document.get("devices", []) if device["serial"].startswith("OBRAID")]
    bench.check("raid: a driver that refuses leaves no drives", code != 0 and not listed, (code, listed))


def pulled(bench, found):
    process = start(bench, "-En", str(found["OBRAID0005"]["index"]))
    if not bench.check("raid: the scan of the drive to be pulled has begun", begun(process)):
        return
    time.sleep(1)
    put("/run/bench/pull", "")
    code, results, seconds = end(process, 200)
    bench.check("raid: the bench has pulled the drive", os.path.exists("/run/bench/pulled"))
    bench.check("raid: a drive pulled in a test is lost, not passed", code == 1 and results and 0 not in results,
                (code, results, seconds))
    bench.check("raid: and no longer listed", "OBRAID0005" not in members(bench)[1])


def controller_gone(bench, found):
    """The controller leaves its bus: what is asked of it is answered by an error, and others go on."""
    host = found["OBRAID0004"]["id"].split(":")[0]
    function = os.path.realpath(f"/sys/class/scsi_host/host{host}/device/..")
    with open(function + "/remove", "w", encoding="ascii") as file:
        file.write("1")
    _, left = members(bench)
    bench.equal("raid: a controller that left costs no other", sorted(left), ["OBRAID0001", "OBRAID0003"])


def run(bench):
    if not bench.modprobe("megaraid_sas"):
        bench.skip("raid: all", "this kernel has no megaraid_sas")
        return
    listing, found = members(bench)
    identity(bench, listing, found)
    reading(bench, found)
    own_node(bench)
    refusal(bench)
    pulled(bench, found)
    controller_gone(bench, found)
