"""Recorded drives: a capture that the virtual PC runs says what the drives say."""

import json
import os
import time

FOLDER = "/run/bench/captured"
DRIVES = {"sata": "OBATA0001", "nvme": "OSTRIABENCHNVME1", "nvme-ns5": "OSTRIABENCHNVME3", "scsi": "OBSCSI0001",
          "usb": "OBUSB00001", "scsi-debug": "scsi_debug"}
# The quick tests that read no sector, as a capture does not either.
QUICK = "-Qs,u,m,o,g,a,b,i"
# Beside times what no drive says: how the system calls it, and what lies on it.
ELSEWHERE = {"started_at", "finished_at", "duration_seconds", "index", "id", "device_index", "device_node", "by_id",
             "by_path", "wwn", "partitions", "raid_controller", "raid_port", "raid_sets", "read_times"}
ELSEWHERE_ROWS = {"PARTITION_SCHEMA", "UNALLOCATED", "DRIVER_VERSION"}
# What a drive counts while the bench asks it.
COUNTED = {"Error Information Log Entries", "Data Units Read", "Host Read Commands", "Controller Busy Time"}


def said(value):
    if isinstance(value, dict):
        return {key: said(part) for key, part in value.items() if key not in ELSEWHERE}
    if isinstance(value, list):
        return [said(part) for part in value
                if not (isinstance(part, dict) and (part.get("key") in ELSEWHERE_ROWS or part.get("name") in COUNTED))]
    return value


def differences(ours, theirs, where=""):
    if isinstance(ours, dict) and isinstance(theirs, dict):
        return [line for key in {**ours, **theirs} for line in differences(ours.get(key), theirs.get(key), f"{where}.{key}")]
    if isinstance(ours, list) and isinstance(theirs, list) and len(ours) == len(theirs):
        return [line for i, pair in enumerate(zip(ours, theirs)) for line in differences(*pair, f"{where}[{i}]")]
    return [] if ours == theirs else [f"{where}: {ours!r} became {theirs!r}"]


def round_trip(bench, name, index):
    file = f"{FOLDER}/{name}.json"
    code, _ = bench.product("--capture", file, index)
    if not bench.check(f"capture: {name} is recorded", code in (0, 3) and os.path.exists(file), code):
        return
    bench.equal(f"capture: the record of {name} is its owner's", oct(os.stat(file).st_mode & 0o777), "0o600")
    for what, arguments in (("--show", ["--show"]), ("smart", ["smart"]), ("the quick tests", [QUICK])):
        code, drive = bench.product(*arguments, index, timeout=300)
        again, recorded = bench.product("--virtual=" + file, *arguments, "0", timeout=300)
        found = differences(said(drive.get("devices")), said(recorded.get("devices")))
        for runs in ("test_runs", "tool_runs"):
            found += differences(said(drive.get(runs, [])), said(recorded.get(runs, [])), runs)
        bench.check(f"capture: {what} of {name} recorded is that of the drive", code == again and not found,
                    (code, again, found[:8]))


def masked(bench, index):
    file = f"{FOLDER}/masked.json"
    bench.product("--capture", file, "--redact", index)
    with open(file, encoding="ascii") as stream:
        text = stream.read()
    serial = b"OBATA0001 "
    swapped = bytes(serial[i ^ 1] for i in range(len(serial)))
    bench.check("capture: a masked record has no serial number, as text or in a page",
                not any(form in text for form in ("OBATA0001", serial[:9].hex(), swapped.hex())), text[:400])
    code, document = bench.product("--virtual=" + file, "--show")
    bench.check("capture: and the drive is otherwise what it was", code in (0, 5)
                and document["devices"][0]["model"] == "OSTRIABENCH ATA" and document["devices"][0]["smart"], document)


def run(bench):
    os.makedirs(FOLDER, exist_ok=True)
    bench.run("modprobe", "-r", "scsi_debug")  # an earlier group may have left it without a disk
    bench.modprobe("scsi_debug", "dev_size_mb=8")
    for _ in range(50):
        if bench.drive("scsi_debug"):
            break
        time.sleep(0.1)
    _, listing = bench.product("--list")
    with open(f"{FOLDER}/list", "w", encoding="utf-8") as stream:
        json.dump(listing, stream)
    for name, marker in DRIVES.items():
        if marker == "scsi_debug" and not bench.drive(marker):
            bench.skip("capture: scsi_debug", "an earlier group still holds it")
            continue
        drive = bench.needed(marker, "capture")
        index = drive and bench.index_of(drive, listing)
        if drive and bench.check(f"capture: {marker} is listed", index is not None, listing):
            round_trip(bench, name, index)
            if name == "sata":
                masked(bench, index)
    bench.run("modprobe", "-r", "scsi_debug")
